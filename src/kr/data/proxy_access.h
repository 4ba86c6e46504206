#pragma once

#include <functional>
#include <string>

#include "kr/data/proxy.h"

namespace KrData::detail {

/// The functions of a proxy for the framework; proxy.h says what each does.
struct ProxyAccess {
    static bool addStoredLink(Proxy& proxy, const KrSim::KrContentReference& extension, const std::string& path) {
        return proxy._addStoredLink(extension, path);
    }
    static bool initializeWithoutLinks(Proxy& proxy, const Proxy& source) {
        return proxy._initializeWithoutLinks(source);
    }
    static void copyLinks(Proxy& proxy, const Proxy& source, const ICopyMap& map) { proxy._copyLinks(source, map); }
    static auto getValueDataType(const FieldBase& field) noexcept { return Proxy::_getValueDataType(field); }
    static bool writeLinked(Proxy& proxy, const FieldBase& source, const std::function<bool(FieldBase&)>& write) {
        return proxy._writeLinked(source, write);
    }
    static FieldBase* findLinkedField(const Proxy& proxy) { return proxy._findLinkedField(); }
};

/// The functions of a link for the framework; link.h says what each does.
struct LinkAccess {
    static FieldBase* findField(const Link& link, const Container* home) { return link._findField(home); }
    static Link asUnresolved(const Link& link, KrSim::KrExtension* home) { return link._asUnresolved(home); }
    static bool isStandIn(const Link& link) noexcept { return link._isStandIn(); }
};

}  // namespace KrData::detail
