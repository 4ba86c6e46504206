#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/application/fwd.h"
#include "kr/data/field_reference.h"
#include "kr/data/fwd.h"
#include "kr/recording/internal/recorded_channel.h"

namespace KrRecording::detail {

/// Copies the values of the chosen fields into frames.
/// Thread: application. A frame allocates nothing, but for texts that grow. Ownership: borrows the fields.
class FieldSampler {
public:
    /// Chooses the fields that the application has now.
    /// \param patterns  as KrExperiments::findFields takes them; empty for all outputs.
    /// \param isStrict  each pattern must mean a field; else one of them
    /// \return why a pattern means no field, as the end of a message; else empty. Then there is a layout.
    std::string choose(const KrSim::KrApplication& application, const std::vector<std::string>& patterns,
                       bool isStrict);

    [[nodiscard]] const std::shared_ptr<const FrameLayout>& getLayout() const noexcept { return _layout; }
    void sample(RecordedFrame& frame) const;

private:
    using CopyNumbers = void (*)(const KrData::FieldBase& field, std::byte* target);

    struct Double {
        KrData::FieldReference field{};
        std::uint32_t index{0};
        std::uint32_t place{0};
    };
    struct Other {
        KrData::FieldReference field{};
        CopyNumbers copy{nullptr};  // null for texts
        std::size_t index{0};
        std::size_t place{0};
    };

    std::shared_ptr<const FrameLayout> _layout;
    std::vector<Double> _doubles;  // apart from the others: most fields are of this type, and take less memory here
    std::vector<Other> _others;
};

}  // namespace KrRecording::detail
