#pragma once

#include <utility>

#include "kr/content/content_directory.h"
#include "kr/content/content_id.h"
#include "kr/content/i_content_resolver.h"
#include "kr/platform/ref_count.h"

namespace test_support {

/// Content that is no extension: counted, with an ID, in the directory while it lives.
class FakeContent final : public Kr::KrRefCount {
public:
    explicit FakeContent(KrSim::KrContentID id) : _id(std::move(id)) { enter(); }
    ~FakeContent() override { leave(); }

    /// The address under which the directory knows it; never followed.
    [[nodiscard]] KrSim::KrExtension* asExtension() { return reinterpret_cast<KrSim::KrExtension*>(this); }
    [[nodiscard]] const KrSim::KrContentID& id() const { return _id; }

    void enter() { KrSim::KrContentDirectory::add(asExtension(), _id); }
    void leave() { KrSim::KrContentDirectory::remove(asExtension(), _id); }
    void changeID(const KrSim::KrContentID& id) {
        const auto before = std::exchange(_id, id);
        KrSim::KrContentDirectory::changeID(asExtension(), before, _id);
    }

private:
    KrSim::KrContentID _id;
};

/// Resolves fake content during its lifetime, instead of the registry.
class FakeContentScope final : public KrSim::IContentResolver {
public:
    FakeContentScope() : _previous(Kr::UpperLayer<IContentResolver>::get()) {
        Kr::UpperLayer<IContentResolver>::install(this);
    }
    FakeContentScope(const FakeContentScope&) = delete;
    FakeContentScope& operator=(const FakeContentScope&) = delete;
    ~FakeContentScope() { Kr::UpperLayer<IContentResolver>::install(_previous); }

    [[nodiscard]] KrSim::KrContentID getContentID(KrSim::KrExtension* extension) const override {
        return reinterpret_cast<FakeContent*>(extension)->id();
    }
    [[nodiscard]] Kr::KrRefCount* asRefCount(KrSim::KrExtension* extension) const noexcept override {
        return reinterpret_cast<FakeContent*>(extension);
    }

private:
    const IContentResolver* _previous;
};

}  // namespace test_support
