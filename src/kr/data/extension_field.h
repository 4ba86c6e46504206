#pragma once

#include "kr/data/field.h"

namespace KrData {

/// A field that refers to an extension of one interface.
/// Thread: application. Ownership: the extension is borrowed.
class KR_API ExtensionField final : public Field<KrSim::KrExtension*> {
public:
    /// Null initially. With a parent the field adds itself to it, and is owned by it from then on.
    ExtensionField(const Kr::KrID& id, const Kr::KrID& interfaceId, Container* parent = nullptr);
    ExtensionField(const ExtensionField& source);
    ~ExtensionField() override;

    [[nodiscard]] const Kr::KrID& getInterfaceId() const noexcept { return _interfaceId; }
    /// Whether an editor should offer this extension: Types::extensionIsInterfaceFieldType. Setters do not check it.
    [[nodiscard]] bool accepts(KrSim::KrExtension* extension) const;

    [[nodiscard]] ExtensionField* clone(const Kr::KrID& id, Container* parent) const override;
    [[nodiscard]] ExtensionField* clone(Container* parent) const override;
    void _cloneFrom(const FieldBase& source) override;

private:
    [[nodiscard]] ExtensionField* _duplicate() const override;

    Kr::KrID _interfaceId;
};

}  // namespace KrData
