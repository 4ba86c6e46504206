#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// The least that steps modules of others: no order, no halves, nothing that changes. In a file of its own, so that the
/// compiler does not see what the calls do.
namespace kr_benchmark {

class BareModule {
public:
    virtual ~BareModule();
    virtual void preUpdate(int mode) = 0;
    virtual void update(int mode) = 0;
    virtual void postUpdate(int mode) = 0;
};

/// They count their calls, times the mode.
[[nodiscard]] std::vector<std::unique_ptr<BareModule>> makeBareModules(std::size_t count, std::int64_t& calls);

}  // namespace kr_benchmark
