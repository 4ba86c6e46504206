#pragma once

namespace KrMath {
template <class T>
struct Vector2T;
template <class T>
struct Vector3T;
template <class T>
struct Vector4T;
template <class T>
struct QuaternionT;
template <class T>
struct Matrix44T;
}  // namespace KrMath

namespace Kr {
struct KrTransform;
}  // namespace Kr
