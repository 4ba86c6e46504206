#include "benchmarks/bare_chain.h"

BareChain::BareChain(std::size_t hops) : _nodes(hops + 1, Node{0.0, nullptr}) {
    for (std::size_t i = 0; i < hops; ++i)
        _nodes[i].next = &_nodes[i + 1];
}

BareChain::~BareChain() = default;

void BareChain::set(const void* value) {
    const double given = *static_cast<const double*>(value);
    if (_nodes.front().value == given) return;
    _nodes.front().value = given;
    for (auto* node = &_nodes.front(); node->next != nullptr; node = node->next) {
        if (node->next->value == node->value) return;
        node->next->value = node->value;
    }
}

double BareChain::last() const {
    return _nodes.back().value;
}
