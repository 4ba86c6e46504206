#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "kr/data/vector.h"
#include "kr/platform/export.h"

namespace KrSim {

/// The errors or the infos of an extension: a vector field of distinct messages, which any thread may add and remove.
///
/// Thread: any for the operations of this class; observers of the vector run on the thread that changes it, without a
/// lock. The other operations of the vector on the application thread, while no other thread uses the list.
/// Ownership: owned by the fields of its extension.
class KR_API KrMessageList final : public KrData::Vector<std::string> {
public:
    KrMessageList(const Kr::KrID& id, KrData::Container* parent);
    ~KrMessageList() override;

    /// False, and nothing changes, for an empty message and for an existing one.
    bool addMessage(const std::string& message);
    /// False past the end.
    bool removeMessage(std::size_t index);
    bool removeMessage(const std::string& message);  ///< False without such a message.
    void clearMessages();

    [[nodiscard]] std::size_t getMessageCount() const;  ///< A snapshot: other threads may add and remove.
    /// A copy of the current messages.
    [[nodiscard]] std::vector<std::string> getMessages() const;
    /// A shared empty text past the end. The reference is valid until the list changes: when other threads add
    /// messages, use joinMessages.
    [[nodiscard]] const std::string& getMessage(std::size_t index) const;
    /// All messages, each between `prefix` and a line feed.
    [[nodiscard]] std::string joinMessages(std::string_view prefix) const;

    /// From another message list, in its current state.
    bool copyValue(const KrData::FieldBase& source) override;

private:
    friend class KrCloneMap;

    /// For instances: adds the messages of the definition, and removes those that came from there and no longer exist
    /// there. Messages that were added or removed here are left unchanged.
    /// \param isCopy  whether the list has just been copied from that of the definition.
    void _follow(const KrMessageList& definition, bool isCopy);
    [[nodiscard]] KrData::Vector<std::string>* _duplicate() const override;

    std::vector<std::string> _followed;  // messages that came from the definition of an instance
    mutable std::mutex _mutex;           // guards the items and the one above
};

}  // namespace KrSim
