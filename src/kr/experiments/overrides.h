#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/modules/i_simulator_module.h"
#include "kr/data/fwd.h"
#include "kr/experiments/override_plan.h"
#include "kr/platform/export.h"

namespace KrExperiments {

namespace detail {
class OverriddenField;
}

/// Makes the function that tells whether a condition holds between two frames; an empty one, with a problem, for a text
/// that is no condition.
using ConditionMaker =
    std::function<std::function<bool()>(const KrSim::KrApplication&, const std::string& text, std::string& problem)>;

/// The state of an override on one field.
struct OverrideStatus {
    std::size_t number{0};     ///< of the override, as add returned it
    std::string path{};        ///< of the field
    std::string text{};        ///< describeOverride
    bool isActive{false};      ///< in the frame that ended last
    bool isLost{false};        ///< the field was removed, or bound to a variable
    std::string ownValue{};    ///< as people read it
    std::string shownValue{};  ///< likewise: what all others see
};

/// Overrides and faults of the fields of an application: a module that the first one of them adds to the application.
///
///     auto& overrides = KrExperiments::Overrides::of(*application);
///     std::string problem;
///     overrides.add("Car/Vehicle.Speed=bias 1 m/s from 400 s", problem);
///     application->run({.seconds = 500.0});
///     overrides.clear();
///
/// On an output an override changes what leaves the extension: connections, observers, views and recordings get the
/// shown value, and the implementation reads back what it wrote. On inputs and parameters it changes what the
/// implementation reads. Overrides of one field act in the order in which they were added. Shown values are inside the
/// range of the field. Saved content has the values without overrides; snapshots and state files have both, and the
/// overrides themselves with their samples. A field without an override pays nothing.
///
/// Overrides begin and end with a frame, before the passes of modules of usual priorities; noise, delays and drop-outs
/// change then. Their random numbers are streams of the application, so runs with one seed are alike.
/// Only numbers have all kinds; Booleans, texts, enumerations and values of several numbers can be forced and frozen.
/// Thread: application. An observer that is called when overrides begin and end must add none; what it removes ends
/// after the pass. Ownership: owned by its proxy, which the application holds.
class KR_API Overrides final : public KrSim::ISimulatorModule {
public:
    static constexpr int kVersion = 1;
    /// In the first pass; modules of a lower one work with the values of the frame before.
    static constexpr int kPriority = -2000;
    static constexpr std::size_t kNone = 0;

    /// The overrides of the application, for which a module is added with the first call.
    [[nodiscard]] static Overrides& of(KrSim::KrApplication& application);
    /// The same, or null while there are none.
    [[nodiscard]] static Overrides* find(const KrSim::KrApplication& application);

    explicit Overrides(KrSim::KrSimulatorModule* proxy);
    ~Overrides() override;

    /// Adds an override of all fields that it means. Without a value of its own the problem of a field adds none.
    /// \param problem  why there is none, as the end of a message.
    /// \return its number, from 1 on, or kNone.
    std::size_t add(const OverridePlan& plan, std::string& problem);
    /// Reads the text first; see parseOverride.
    std::size_t add(std::string_view text, std::string& problem);
    /// Adds one for each line of a text: lines that are empty or begin with # do not count. Adds all or none.
    /// \param source  for the problems, "faults.txt": "faults.txt, line 3: ...".
    /// \return the problems; empty when all were added.
    [[nodiscard]] std::vector<std::string> addLines(std::istream& lines, const std::string& source);
    /// Ends an override: its fields show their own values. False when there is none of this number.
    bool remove(std::size_t number);
    void clear();  ///< Ends all.
    /// For each override and field, in the order of addition.
    [[nodiscard]] std::vector<OverrideStatus> getAll() const;
    /// "bias 1 m/s, gain 2; own value 12 m/s": what is in effect on the field; empty for one without an override.
    [[nodiscard]] std::string describe(const KrData::FieldBase& field) const;
    /// Needed for overrides with a condition; one for the whole process, installed by what reads expressions.
    static void setConditionMaker(ConditionMaker maker);

    void onPreUpdate(KrSim::eApplicationMode mode) override;
    void onRemoveFromApplication(KrSim::KrApplication* application) override;
    void onStateSave(std::ostream& state) override;
    void onStateRestore(std::istream& state) override;
    [[nodiscard]] KrSim::IExtensionState::eRestoreStatePriority getRestoreStatePriority() const override;

private:
    struct Entry;

    [[nodiscard]] detail::OverriddenField& _fieldOf(KrData::FieldBase& field, const std::string& path);
    void _dropIdle();
    /// After the pass that puts overrides into effect. False when the application takes no work any more.
    bool _later(std::function<void(Overrides&)> work);

    std::vector<std::unique_ptr<Entry>> _entries;
    std::vector<std::unique_ptr<detail::OverriddenField>> _fields;
    std::size_t _lastNumber{0};
    std::uint32_t _lastFrame{0};
    bool _isRestored{true};  // since the last frame, or there was none
    bool _isBusy{false};     // fields change, which calls observers
};

}  // namespace KrExperiments
