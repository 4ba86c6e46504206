#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/core/connection_base.h"

namespace KrData::detail {

/// The connections at one end of a field, in the order of addition. One word, as most fields have one connection or
/// none; several are kept in a list on the heap. For fields only.
///
/// In that list each connection knows its place, so membership and removal take constant time (Kr::WalkList).
class ConnectionList {
public:
    ConnectionList() noexcept = default;
    ConnectionList(const ConnectionList&) = delete;
    ConnectionList& operator=(const ConnectionList&) = delete;
    ~ConnectionList();

    /// False when it is listed already.
    /// \param end  of the connection; the same in every call.
    bool add(Kr::KrConnectionBase* connection, Kr::KrConnectionBase::End end);
    bool remove(Kr::KrConnectionBase* connection) noexcept;
    [[nodiscard]] std::size_t size() const noexcept;
    [[nodiscard]] std::vector<Kr::KrConnectionBase*> connections() const;

    /// The oldest connection, null when there is none.
    [[nodiscard]] Kr::KrConnectionBase* first() const noexcept;
    /// The youngest one, null when there is none.
    [[nodiscard]] Kr::KrConnectionBase* last() const noexcept;
    /// The connection if there is only one; may be null also when others were removed.
    [[nodiscard]] Kr::KrConnectionBase* only() const noexcept { return _hasMany() ? _onlyOfMany() : _single(); }
    /// The same, but null also when there ever were others.
    [[nodiscard]] Kr::KrConnectionBase* onlyIfNeverMany() const noexcept { return _hasMany() ? nullptr : _single(); }

    struct Many;
    /// The list of several connections, now or earlier, which is walked over while others change it; null before.
    [[nodiscard]] Many* many() const noexcept {
        return _hasMany() ? reinterpret_cast<Many*>(_word & ~kIsMany) : nullptr;
    }

private:
    static constexpr std::uintptr_t kIsMany = 1;

    [[nodiscard]] bool _hasMany() const noexcept { return (_word & kIsMany) != 0; }
    [[nodiscard]] Kr::KrConnectionBase* _single() const noexcept {
        return reinterpret_cast<Kr::KrConnectionBase*>(_word);
    }
    [[nodiscard]] Kr::KrConnectionBase* _onlyOfMany() const noexcept;

    std::uintptr_t _word{0};  // the address of the only connection, or of the list and this mark
};

}  // namespace KrData::detail
