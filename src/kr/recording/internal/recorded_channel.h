#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kr/data/types.h"

namespace KrRecording::detail {

/// How a value is kept in a frame and encoded in a message.
enum class eNumber : std::uint8_t { kDouble, kFloat, kInteger, kUnsigned, kShort, kUnsignedShort, kBoolean, kText };

/// A field of a channel.
struct RecordedField {
    std::string path{};  ///< in its extension: "Outputs.Wheel.Speed"
    std::string name{};  ///< in messages: "Wheel_Speed"
    std::string unit{};  ///< the SI unit; empty for none
    std::string description{};
    KrData::Types::DataTypeEnum dataType{KrData::Types::kUnknown};
    eNumber number{eNumber::kDouble};
    std::vector<std::string> components{};  ///< names; empty for one number or text
    std::size_t index{0};                   ///< among the fields of a frame
    std::size_t place{0};                   ///< of its bytes in a frame, or of its text among the texts of a frame
};

/// Fields of one role of an extension, whose values are one message.
struct RecordedChannel {
    std::string topic{};       ///< "Car/Vehicle.Outputs"
    std::string schemaName{};  ///< "kr.Vehicle_Outputs"
    std::vector<RecordedField> fields{};
};

/// What is in the frames of a recording. It does not change; when content changes there is another one.
struct FrameLayout {
    std::vector<RecordedChannel> channels{};
    std::size_t fieldCount{0};
    std::size_t byteCount{0};  ///< of the numbers
    std::size_t textCount{0};
};

/// The values of one frame. Used again, so that a steady run allocates nothing.
struct RecordedFrame {
    std::shared_ptr<const FrameLayout> layout{};
    double seconds{0.0};                  ///< simulated
    std::uint64_t wallNanoseconds{0};     ///< since 1970
    std::vector<std::uint8_t> isThere{};  ///< for each field, by its index
    std::vector<std::byte> numbers{};
    std::vector<std::string> texts{};
};

}  // namespace KrRecording::detail
