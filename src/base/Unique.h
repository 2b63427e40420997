#pragma once

#include <utility>

namespace tovlark {

/// Owns one system object. `Traits` has a type `Value`, a constant `kInvalid` and a function `close(Value)`.
template <typename Traits>
class Unique {
public:
    using Value = typename Traits::Value;

    Unique() = default;
    explicit Unique(Value value) : value_(value) {}
    Unique(Unique&& other) noexcept : value_(other.release()) {}
    Unique& operator=(Unique&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Unique() { reset(); }

    explicit operator bool() const { return value_ != Traits::kInvalid; }
    Value get() const { return value_; }
    Value release() { return std::exchange(value_, Traits::kInvalid); }
    void reset(Value value = Traits::kInvalid) {
        if (value_ != Traits::kInvalid) Traits::close(value_);
        value_ = value;
    }

private:
    Value value_ = Traits::kInvalid;
};

}  // namespace tovlark
