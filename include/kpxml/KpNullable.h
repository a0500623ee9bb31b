#ifndef KPXML_KPNULLABLE_H
#define KPXML_KPNULLABLE_H

#include <utility>

namespace kpt {

// A value that may be absent: a has-value flag followed by the value. An absent Nullable holds a
// default-constructed value.
template <typename T>
class Nullable {
public:
    // An absent value.
    Nullable() : present(false), value() {}
    // A present value.
    Nullable(T v) : present(true), value(std::move(v)) {}  // NOLINT(google-explicit-constructor)

    // True when a value is present.
    bool hasValue() const { return present; }
    // The value; the default-constructed value when absent.
    const T& getValue() const { return value; }

private:
    bool present;
    T value;
};

}  // namespace kpt

#endif
