#pragma once

#include <cstdint>

#include "kr/core/fwd.h"

namespace KrData {
class ArrayResizes;
class ContainerDiff;
class DelegateConnection;
class FieldArrayBase;
class FieldInternal;
class FieldListener;
class FieldReference;
class FieldVisitor;
class ICopyMap;
class IFieldOwner;
class Proxy;
class Types;
class ValuePlan;
class VectorBase;
class VectorItemBase;
struct FieldLoading;
enum class eMetadata : std::int32_t;
template <class T>
class Field;
template <class T>
struct ValueTraits;
template <class T>
struct ValuePointer;
}  // namespace KrData
