#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kr/core/connection_base.h"
#include "kr/data/container.h"
#include "kr/data/field_listener.h"
#include "kr/data/i_field_owner.h"

namespace test_support {

using KrData::Container;
using KrData::Field;
using KrData::FieldBase;
using KrData::Types;

/// What the callbacks of a test did, in order.
using Events = std::vector<std::string>;

/// The top container of an extension that does not exist; adds up what its fields tell about outputs.
class FakeOwner final : public Container, public KrData::IFieldOwner {
public:
    explicit FakeOwner(const Kr::KrID& id = "Owner") : Container(id) {}
    ~FakeOwner() override { clear(); }

    /// Outputs that are connected and outputs that are watched.
    [[nodiscard]] std::pair<int, int> outputs() const { return {_connected, _watched}; }

    void onOutputCountsChanged(int connectedDelta, int watchedDelta) override {
        _connected += connectedDelta;
        _watched += watchedDelta;
    }
    KrSim::KrExtension* asExtension() noexcept override { return reinterpret_cast<KrSim::KrExtension*>(this); }
    [[nodiscard]] KrData::IFieldOwner* _getFieldOwner() const override { return const_cast<FakeOwner*>(this); }

private:
    std::atomic<int> _connected{0};  // fields are watched from any thread
    std::atomic<int> _watched{0};
};

/// Is on both fields from birth to death, and hands each transfer to a function of the test.
class FakeConnection final : public Kr::KrConnectionBase {
    KR_BASE_CLASS(FakeConnection, KrConnectionBase)

    using OnTransfer = std::function<void(const FieldBase&)>;

    FakeConnection(FieldBase& source, FieldBase& sink, OnTransfer onTransfer = {})
        : _onTransfer(std::make_shared<OnTransfer>(std::move(onTransfer))) {
        _setFields(&source, &sink);
        source._addConnection(this);
        sink._addConnection(this);
    }
    ~FakeConnection() override {
        if (getSource()) getSource()->_removeConnection(this);
        if (getSink()) getSink()->_removeConnection(this);
    }

    [[nodiscard]] int transfers() const { return _transfers; }

    [[nodiscard]] bool isValid() const override { return getSource() && getSink(); }
    [[nodiscard]] bool isEnabled() const override { return true; }
    void enable(bool) override {}
    void disable(bool) override {}
    void transferValue(const FieldBase& changed) override {
        ++_transfers;
        const auto onTransfer = _onTransfer;  // which may destroy this connection
        if (*onTransfer) (*onTransfer)(changed);
    }
    [[nodiscard]] FakeConnection* _createBetween(FieldBase& source, FieldBase& sink) const override {
        return new FakeConnection(source, sink, *_onTransfer);
    }

private:
    std::shared_ptr<OnTransfer> _onTransfer;
    int _transfers{0};
};

/// Hands what it hears ("+in", "-out" …) to a function of the test.
class FakeListener final : public KrData::FieldListener {
public:
    using Told = std::function<void(const char* what, Kr::KrConnectionBase*)>;

    explicit FakeListener(Told told) : _told(std::move(told)) {}
    void onIncomingConnectionAdded(Kr::KrConnectionBase* connection) override { _told("+in", connection); }
    void onIncomingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told("-in", connection); }
    void onOutgoingConnectionAdded(Kr::KrConnectionBase* connection) override { _told("+out", connection); }
    void onOutgoingConnectionRemoved(Kr::KrConnectionBase* connection) override { _told("-out", connection); }

private:
    Told _told;
};

/// A container that takes no children.
class RefusingContainer final : public Container {
public:
    using Container::Container;

private:
    [[nodiscard]] bool _accepts(const FieldBase&) const override { return false; }
};

/// The identifiers of the children, in order.
inline Events idsOf(const Container& container) {
    Events ids;
    for (const FieldBase* child : container)
        ids.push_back(child->getID().str());
    return ids;
}

}  // namespace test_support
