#include "kr/extension/message_list.h"

#include <algorithm>
#include <utility>

namespace KrSim {

KrMessageList::KrMessageList(const Kr::KrID& id, KrData::Container* parent) : Vector(id, nullptr) {
    _attachTo(parent);
}

KrMessageList::~KrMessageList() {
    _detachFromEverything();
}

// Observers are notified of every change after the lock is released.

bool KrMessageList::addMessage(const std::string& message) {
    if (message.empty()) return false;
    std::size_t index = 0;
    {
        const std::lock_guard lock(_mutex);
        auto& items = _getItems();
        if (std::find(items.begin(), items.end(), message) != items.end()) return false;
        index = items.size();
        items.push_back(message);
    }
    _itemsChanged(index, index);
    return true;
}

bool KrMessageList::removeMessage(std::size_t index) {
    std::size_t last = 0;
    {
        const std::lock_guard lock(_mutex);
        auto& items = _getItems();
        if (index >= items.size()) return false;
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(index));
        last = items.size();
    }
    _itemsChanged(index, last);
    return true;
}

bool KrMessageList::removeMessage(const std::string& message) {
    std::size_t index = 0;
    std::size_t last = 0;
    {
        const std::lock_guard lock(_mutex);
        auto& items = _getItems();
        const auto found = std::find(items.begin(), items.end(), message);
        if (found == items.end()) return false;
        index = static_cast<std::size_t>(found - items.begin());
        items.erase(found);
        last = items.size();
    }
    _itemsChanged(index, last);
    return true;
}

void KrMessageList::clearMessages() {
    std::vector<std::string> gone;
    {
        const std::lock_guard lock(_mutex);
        _getItems().swap(gone);
    }
    if (!gone.empty()) _itemsChanged(0, gone.size() - 1);
}

std::size_t KrMessageList::getMessageCount() const {
    const std::lock_guard lock(_mutex);
    return getItems().size();
}

std::vector<std::string> KrMessageList::getMessages() const {
    const std::lock_guard lock(_mutex);
    return getItems();
}

const std::string& KrMessageList::getMessage(std::size_t index) const {
    static const auto& none = *new std::string;
    const std::lock_guard lock(_mutex);
    return index < getItems().size() ? getItems()[index] : none;
}

std::string KrMessageList::joinMessages(std::string_view prefix) const {
    std::string text;
    const std::lock_guard lock(_mutex);
    for (const auto& message : getItems())
        text.append(prefix).append(message).append(1, '\n');
    return text;
}

void KrMessageList::_follow(const KrMessageList& definition, bool isCopy) {
    if (&definition == this) return;
    auto wanted = definition.getMessages();
    const auto isIn = [](const std::vector<std::string>& list, const std::string& message) {
        return std::find(list.begin(), list.end(), message) != list.end();
    };
    std::size_t last = 0;
    {
        const std::lock_guard lock(_mutex);
        auto& items = _getItems();
        if (wanted.empty() && _followed.empty()) return;
        if (isCopy) _followed = wanted;
        const auto before = items.size();
        const auto isGone = [&](const std::string& each) { return isIn(_followed, each) && !isIn(wanted, each); };
        const auto goneCount = std::erase_if(items, isGone);
        std::vector<std::string> followed;
        std::size_t addedCount = 0;
        for (auto& message : wanted) {
            const bool isKnown = isIn(_followed, message);
            if (!isKnown && isIn(items, message)) continue;  // its own
            followed.push_back(message);
            if (isKnown) continue;
            items.push_back(std::move(message));
            ++addedCount;
        }
        _followed.swap(followed);
        if (goneCount + addedCount == 0) return;
        last = std::max(before, items.size()) - 1;
    }
    _itemsChanged(0, last);
}

bool KrMessageList::copyValue(const KrData::FieldBase& source) {
    const auto* list = dynamic_cast<const KrMessageList*>(&source);
    if (list == nullptr) return Vector::copyValue(source);
    std::vector<std::string> messages;
    std::vector<std::string> followed;
    {
        const std::lock_guard lock(list->_mutex);
        messages = list->getItems();
        followed = list->_followed;
    }
    std::size_t last = 0;
    {
        const std::lock_guard lock(_mutex);
        _followed.swap(followed);
        auto& items = _getItems();
        if (items == messages) return true;
        last = std::max(items.size(), messages.size()) - 1;
        items.swap(messages);
    }
    _itemsChanged(0, last);
    return true;
}

KrData::Vector<std::string>* KrMessageList::_duplicate() const {
    const std::lock_guard lock(_mutex);
    return Vector::_duplicate();
}

}  // namespace KrSim
