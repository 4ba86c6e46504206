#pragma once

#include <functional>
#include <vector>

/// The least that a set through a virtual setter can be: compare, store, mark, call whoever listens.
/// Defined in a file of its own, so that the compiler cannot look through the call.
class BareProperty {
public:
    virtual ~BareProperty();
    virtual bool set(const void* value);
    [[nodiscard]] double get() const { return _value; }
    std::vector<std::function<void(const BareProperty&)>> functions;

private:
    double _value{0.0};
    bool _changed{false};
};
