#include "kr/core/connections/internal/functor_selection.h"

#include "kr/core/connections/container_connection_functor.h"
#include "kr/core/connections/direct_connection_functor.h"
#include "kr/core/connections/vector_connection_functor.h"
#include "kr/platform/log.h"

namespace Kr::detail {

using KrData::FieldBase;
using KrData::Types;

bool mayDrive(Types::FieldTypeEnum source, Types::FieldTypeEnum sink) noexcept {
    switch (source) {
        case Types::kInput:
            return sink == Types::kInput;
        case Types::kOutput:
            return sink == Types::kInput || sink == Types::kParameter || sink == Types::kOutput;
        case Types::kParameter:
            return sink == Types::kParameter || sink == Types::kInput;
        case Types::kField:
        case Types::kUndefined:
            break;
    }
    return false;
}

namespace {

bool areOfOneEnumeration(const FieldBase& source, const FieldBase& sink) {
    const auto first = source.get<KrEnum>();
    const auto second = sink.get<KrEnum>();
    return !first.getTypeString().empty() && first.getTypeString() == second.getTypeString();
}

}  // namespace

bool doValuesFit(const FieldBase& source, const FieldBase& sink) {
    const auto areBoth = [&](Types::DataTypeEnum type) {
        return source.getDataType() == type && sink.getDataType() == type;
    };
    if (areBoth(Types::kVector)) {
        return static_cast<const KrData::VectorBase&>(source).getItemDataType() ==
               static_cast<const KrData::VectorBase&>(sink).getItemDataType();
    }
    return areBoth(Types::kEnumeration) ? areOfOneEnumeration(source, sink) : source.canConvertTo(sink);
}

std::unique_ptr<ConnectionFunctor> selectFunctor(const FieldBase& source, FieldBase& sink,
                                                 const KrConnectionBase* connection) {
    const auto areBoth = [&](Types::DataTypeEnum type) {
        return source.getDataType() == type && sink.getDataType() == type;
    };
    if (areBoth(Types::kContainer)) {
        return std::make_unique<ContainerConnectionFunctor>(static_cast<const KrData::Container&>(source),
                                                            static_cast<KrData::Container&>(sink));
    }
    if (areBoth(Types::kVector)) {
        if (doValuesFit(source, sink)) {
            return std::make_unique<VectorConnectionFunctor>(static_cast<const KrData::VectorBase&>(source),
                                                             static_cast<KrData::VectorBase&>(sink), connection);
        }
        logMessage(eLogLevel::kDebug,
                   "KrConnection: KrData::Vector source [%s] and sink [%s] must have the same data type.\n",
                   source.getPath().c_str(), sink.getPath().c_str());
        return nullptr;
    }
    return doValuesFit(source, sink) ? std::make_unique<DirectConnectionFunctor>(source, sink) : nullptr;
}

}  // namespace Kr::detail
