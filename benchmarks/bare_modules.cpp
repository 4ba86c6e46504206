#include "benchmarks/bare_modules.h"

namespace kr_benchmark {

BareModule::~BareModule() = default;

namespace {

class Counter final : public BareModule {
public:
    explicit Counter(std::int64_t& calls) : _calls(calls) {}
    void preUpdate(int mode) override { _calls += mode; }
    void update(int mode) override { _calls += mode; }
    void postUpdate(int mode) override { _calls += mode; }

private:
    std::int64_t& _calls;
};

}  // namespace

std::vector<std::unique_ptr<BareModule>> makeBareModules(std::size_t count, std::int64_t& calls) {
    std::vector<std::unique_ptr<BareModule>> modules;
    modules.reserve(count);
    while (modules.size() < count)
        modules.push_back(std::make_unique<Counter>(calls));
    return modules;
}

}  // namespace kr_benchmark
