#pragma once

#include <cstddef>
#include <vector>

/// The least that a chain of values can be: a virtual set of the first one, then compare and assign from each to the
/// next. Defined in a file of its own, so that the compiler cannot look through the call.
class BareChain {
public:
    explicit BareChain(std::size_t hops);
    virtual ~BareChain();
    virtual void set(const void* value);
    [[nodiscard]] double last() const;

private:
    struct Node {
        double value;
        Node* next;
    };
    std::vector<Node> _nodes;
};
