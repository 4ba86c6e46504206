#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kr/data/vector.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The errors or the infos of an extension: a vector field of messages, no two of them equal, that any thread may add
/// to and take from.
///
/// Thread: the operations of this class, from any thread; observers of the vector run on the thread that changes it,
/// without a lock. The other operations of the vector, the application thread, while no other thread uses the list.
class KR_API KrMessageList final : public KrData::Vector<std::string> {
public:
    KrMessageList(const Kr::KrID& id, KrData::Container* parent);
    ~KrMessageList() override;

    /// False, and nothing changes, for an empty message and for one that is there already.
    bool addMessage(const std::string& message);
    /// False when there is none.
    bool removeMessage(std::size_t index);
    bool removeMessage(const std::string& message);
    void clearMessages();

    [[nodiscard]] std::size_t getMessageCount() const;
    /// As they are now.
    [[nodiscard]] std::vector<std::string> getMessages() const;
    /// A shared empty text past the end. The reference is good until the list changes: where other threads add
    /// messages, use joinMessages.
    [[nodiscard]] const std::string& getMessage(std::size_t index) const;
    /// All messages, each between `prefix` and a line feed.
    [[nodiscard]] std::string joinMessages(std::string_view prefix) const;

    /// For instances: adds the messages of the definition, and removes those that came from there and are not there any
    /// more. A message that was here by itself, or is removed here, is left alone.
    /// \param isCopy  whether the list has just been copied from that of the definition.
    void _follow(const KrMessageList& definition, bool isCopy);

    /// From another message list: as it is now.
    bool copyValue(const KrData::FieldBase& source) override;
    [[nodiscard]] KrData::Vector<std::string>* _duplicate() const override;

private:
    std::vector<std::string> _followed;  // messages that came from the definition of an instance
    mutable std::mutex _mutex;           // guards the items and the one above
};

}  // namespace KrSim
