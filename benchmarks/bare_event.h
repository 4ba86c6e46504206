#pragma once

#include <array>
#include <cstdint>

/// The least that an event and its receiver are. Their code is in a file of its own, as that of listeners usually is,
/// so that the compiler neither guesses the call nor saves the copy.
struct BareEvent {
    int id;
    double delay;
    std::array<std::uint8_t, 64> payload;
};

class BareListener {
public:
    explicit BareListener(int id) : _id(id) {}
    virtual ~BareListener();
    virtual void onEvent(const BareEvent& event);
    [[nodiscard]] std::int64_t calls() const { return _calls; }

private:
    int _id;
    std::int64_t _calls{0};
};
