#pragma once

#include <boost/archive/archive_exception.hpp>
#include <boost/archive/detail/basic_iarchive.hpp>
#include <boost/archive/detail/basic_iserializer.hpp>
#include <boost/archive/detail/basic_pointer_iserializer.hpp>
#include <boost/serialization/extended_type_info.hpp>
#include <boost/serialization/singleton.hpp>
#include <boost/serialization/type_info_implementation.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#include "kr/platform/export.h"
#include "kr/platform/file_result.h"

namespace KrPersistence {

namespace detail {
class LoadedObjects;
}  // namespace detail

/// The part of input archives that records the objects made for pointers to tracked classes, and their owners.
/// Thread: one at a time. Ownership: objects without an owner, see adopt.
class KR_API InArchiveObjects {
protected:
    using Serializer = boost::archive::detail::basic_iserializer;
    using PointerSerializer = boost::archive::detail::basic_pointer_iserializer;
    using TypeInfo = boost::serialization::extended_type_info;
    using PointerFinder = const PointerSerializer* (*)(const TypeInfo& type);
    using ErrorCode = boost::archive::archive_exception::exception_code;
    using BasicArchive = boost::archive::detail::basic_iarchive;

public:
    InArchiveObjects(const InArchiveObjects&) = delete;
    InArchiveObjects& operator=(const InArchiveObjects&) = delete;
    /// Destroys no object that was read.
    virtual ~InArchiveObjects();

    /// States that an owner, which was read from the archive, will delete the object; objects without an owner are
    /// destroyed by delete_created_pointers. Throws when the object has an owner already or does not come from a
    /// pointer of this archive: a file may name one object twice.
    template <class T>
    void adopt(const T* object) {
        if constexpr (std::is_polymorphic_v<T>) {
            _adopt(dynamic_cast<const void*>(object));
        } else {
            _adopt(object);
        }
    }
    /// Throws unless each object has an owner. For the end of a load.
    void requireOwned() const;
    /// Destroys the objects without an owner, the last one first. For a load that failed.
    void delete_created_pointers();

    /// Ends the reading: throws an exception with this text and the place in the archive.
    [[noreturn]] void refuse(const std::string& text) const;

    // Called by Boost.Serialization
    void register_basic_serializer(const Serializer& serializer);
    template <class T>
    void reset_object_address(const T* to, const T* from) {
        _move(to, from, sizeof(T));
    }

protected:
    InArchiveObjects();

    [[noreturn]] void _refuse(ErrorCode code, const std::string& text) const;
    /// The text of an error: what is wrong, and where.
    [[nodiscard]] virtual std::string _describe(const std::string& text) const = 0;
    /// The current place.
    [[nodiscard]] virtual Kr::FilePlace _getPlace() const = 0;

    /// Announces the type behind the pointer that is read next.
    template <class T>
    void _aim() {
        namespace bs = boost::serialization;
        _target =
            &bs::singleton<typename bs::type_info_implementation<std::remove_const_t<T>>::type>::get_const_instance();
    }
    [[nodiscard]] const TypeInfo* _takeTarget() noexcept;
    /// Reads the data of an object that its pointer has announced; false for others.
    bool _loadAnnounced(BasicArchive& archive, void* object, const Serializer& serializer);
    /// The number of the class of this name, which precedes an object behind a pointer.
    std::int16_t _findClass(const char* name, PointerFinder finder);
    void _checkVersion(std::uint32_t version, const Serializer& serializer) const;
    void _checkFamily(std::int16_t number, const TypeInfo* target, const void* object);
    /// Makes the object of a pointer and reads it; after a failure nothing of it remains.
    void* _make(BasicArchive& archive, std::int16_t number, std::uint32_t version, const TypeInfo* target);

    std::unique_ptr<detail::LoadedObjects> _loaded;

private:
    void _adopt(const void* object);
    void _move(const void* to, const void* from, std::size_t size);

    const TypeInfo* _target{nullptr};
};

}  // namespace KrPersistence
