#pragma once

#include <string>

#include "kr/recording/internal/recorded_channel.h"

namespace KrRecording::detail {

/// The schema of the messages of a channel: a FileDescriptorSet of protobuf with one message type, whose field numbers
/// count from 1 in the order of the channel. A value of several numbers is a message of a type beside it.
[[nodiscard]] std::string makeSchema(const RecordedChannel& channel);

/// Appends the values of a channel in a frame as such a message. Fields that do not exist are left out.
/// \return whether there is one of them.
bool appendMessage(std::string& message, const RecordedChannel& channel, const RecordedFrame& frame);

}  // namespace KrRecording::detail
