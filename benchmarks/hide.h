#pragma once

namespace kr_benchmark {

/// Keeps the compiler from following what a loop does to an object. benchmark::DoNotOptimize of a variable is no choice
/// here: g++ 12 can lose the value of its operand "+m,r", and the benchmark then crashes.
template <class T>
T* hide(T* object) {
    T* volatile hidden = object;
    return hidden;
}

}  // namespace kr_benchmark
