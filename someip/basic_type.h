#pragma once
// Which C++ types the serialisation layer writes and reads as SOME/IP basic types without a length
// field: the integers and floating-point types. bool has rules of its own and is left out.

#include <type_traits>

namespace ruv::com::someip::serialization {

template <class T>
inline constexpr bool is_basic_non_bool_type_v =
    std::is_arithmetic_v<T> && !std::is_same_v<std::remove_cv_t<T>, bool>;

}  // namespace ruv::com::someip::serialization
