#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <utility>

#include "kr/application/context/application_context.h"
#include "kr/data/field_reference.h"
#include "kr/experiments/override_plan.h"

namespace KrExperiments::detail {

/// A field with the overrides that act on it, one after the other. Shows its own value while none is in effect.
class OverriddenField {
public:
    /// Null for a field whose values cannot be replaced.
    [[nodiscard]] static std::unique_ptr<OverriddenField> create(KrData::FieldBase& field, std::string path,
                                                                 KrSim::ApplicationContext context);
    OverriddenField(const OverriddenField&) = delete;
    OverriddenField& operator=(const OverriddenField&) = delete;
    virtual ~OverriddenField();

    /// \param isWanted  whether the override is to be in effect in a frame; borrowed, and read when the frame begins.
    /// \return the problem, as the end of a message; empty when the override acts from the next frame on.
    [[nodiscard]] virtual std::string add(std::size_t number, const OverridePlan& plan, const bool& isWanted) = 0;
    virtual void remove(std::size_t number) = 0;
    [[nodiscard]] virtual bool isIdle() const noexcept = 0;  ///< Nothing acts on it.

    /// Puts into effect what is wanted in the frame. False once, when the field was lost.
    [[nodiscard]] virtual bool beginFrame(double seconds) = 0;
    [[nodiscard]] virtual bool isActive(std::size_t number) const noexcept = 0;
    [[nodiscard]] virtual std::string formatOwn() const = 0;

    /// The own value, and what the overrides remember.
    virtual void save(std::ostream& state) const = 0;
    /// After the values of fields were restored. False for data that save did not write.
    [[nodiscard]] virtual bool restore(std::istream& state) = 0;
    /// The value that was restored without save() becomes the own one.
    virtual void takeRestored() = 0;

    [[nodiscard]] KrData::FieldBase* getField() const noexcept { return _field.get(); }
    [[nodiscard]] const std::string& getPath() const noexcept { return _path; }
    [[nodiscard]] bool isLost() const noexcept { return _isLost; }

protected:
    OverriddenField(KrData::FieldBase& field, std::string path, KrSim::ApplicationContext context)
        : _context(std::move(context)), _field(&field), _path(std::move(path)) {}

    const KrSim::ApplicationContext _context;
    const KrData::FieldReference _field;
    const std::string _path;
    bool _isLost{false};
};

}  // namespace KrExperiments::detail
