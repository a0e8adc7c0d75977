// The catalogue of the ten service interfaces as its tables fix it: the member types of every
// Output in order, the arguments of every method with meta_info first, the method identifiers
// and the name each interface is found under. Most of it is settled at compile time; what needs
// an object (where fields() points) runs as tests.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "raw_object.h"
#include "service_catalogue.h"

namespace {

using namespace zevo::test;

using Meta = const std::map<std::string, std::string>&;
using Byte = std::uint8_t;
using Byte_vector = std::vector<std::uint8_t>;
template <std::size_t size>
using Byte_array = std::array<std::uint8_t, size>;

/// Where the members of a plain structure with these types lie, declared in this order.
template <class... Members>
struct Plain_layout {
    static constexpr std::size_t alignment = std::max({alignof(Members)...});

    static constexpr std::array<std::size_t, sizeof...(Members)> offsets() {
        std::array<std::size_t, sizeof...(Members)> result{};
        std::size_t end = 0;
        std::size_t index = 0;
        ((end = (end + alignof(Members) - 1) / alignof(Members) * alignof(Members), result[index++] = end,
          end += sizeof(Members)),
         ...);
        return result;
    }

    static constexpr std::size_t size() {
        return (offsets().back() + sizeof(std::tuple_element_t<sizeof...(Members) - 1, std::tuple<Members...>>) +
                alignment - 1) /
               alignment * alignment;
    }
};

template <class Tuple>
struct Layout_of_fields;
template <class... References>
struct Layout_of_fields<std::tuple<References...>> {
    using type = Plain_layout<std::remove_reference_t<References>...>;
};

/// `Output` is a plain structure whose fields() give exactly these members in this order, and
/// that holds nothing besides them.
template <class Output, class... Members>
constexpr bool output_is = std::is_same_v<decltype(std::declval<Output&>().fields()), std::tuple<Members&...>> &&
                           std::is_same_v<decltype(std::declval<const Output&>().fields()),
                                          std::tuple<const Members&...>> &&
                           std::is_aggregate_v<Output> && !std::is_polymorphic_v<Output> &&
                           sizeof(Output) == Plain_layout<Members...>::size() &&
                           alignof(Output) == Plain_layout<Members...>::alignment;

template <class Method, std::uint16_t identifier>
constexpr bool method_id_is =
    std::is_same_v<decltype(Method::method_id), const std::uint16_t> && Method::method_id == identifier;

template <class Interface, class = void>
struct has_read : std::false_type {};
template <class Interface>
struct has_read<Interface, std::void_t<typename Interface::Read>> : std::true_type {};
template <class Interface, class = void>
struct has_request_results : std::false_type {};
template <class Interface>
struct has_request_results<Interface, std::void_t<typename Interface::RequestResults>> : std::true_type {};
template <class Interface, class = void>
struct has_start : std::false_type {};
template <class Interface>
struct has_start<Interface, std::void_t<typename Interface::Start>> : std::true_type {};

namespace d_2c55 = diag::d_2c55;
namespace d_2c56 = diag::d_2c56;
namespace d_2c57 = diag::d_2c57;
namespace d_2c60 = diag::d_2c60;
namespace r_0648 = diag::r_0648;
namespace r_c00a = diag::r_c00a;
namespace r_c00b = diag::r_c00b;
namespace r_c00c = diag::r_c00c;
namespace r_c00d = diag::r_c00d;
namespace r_c00f = diag::r_c00f;

// Read::Output of the four data identifiers.
static_assert(output_is<d_2c55::DataIdentifier_ZevoZevovin::Read::Output, Byte_array<1>, Byte_array<17>>);
static_assert(output_is<d_2c56::DataIdentifier_ZevoTrainingCounter::Read::Output, Byte, std::uint16_t>);
static_assert(output_is<d_2c57::DataIdentifier_ZevoMissingKeyHistory::Read::Output, Byte, Byte, Byte_vector>);
static_assert(output_is<d_2c60::DataIdentifier_ZevoKeyList::Read::Output, Byte, Byte, Byte_vector>);

// RequestResults::Output of the six routines.
static_assert(output_is<r_0648::RoutineService_ZevoDebug::RequestResults::Output, Byte, Byte, Byte_vector>);
static_assert(output_is<r_c00a::RoutineService_ZevoHandleDownloadcontainer::RequestResults::Output, Byte, Byte>);
static_assert(output_is<r_c00b::RoutineService_ZevoCheckVerificationHash::RequestResults::Output, Byte, Byte>);
static_assert(output_is<r_c00c::RoutineService_ZevoGetIdentityHash::RequestResults::Output, Byte_array<1>,
                        Byte_array<1>, Byte_array<16>>);
static_assert(output_is<r_c00d::RoutineService_ZevoGetPssHash::RequestResults::Output, Byte_array<1>, Byte_array<1>,
                        Byte_array<16>>);
static_assert(output_is<r_c00f::RoutineService_ZevoGetState::RequestResults::Output, Byte, Byte, Byte, Byte, Byte,
                        Byte, Byte, std::uint16_t, Byte, Byte>);

// Start of the six routines: meta_info, then the arguments cut from the request.
static_assert(std::is_same_v<r_0648::RoutineService_ZevoDebug::Start::Signature, void(Meta, Byte, const Byte_vector&)>);
static_assert(std::is_same_v<r_c00a::RoutineService_ZevoHandleDownloadcontainer::Start::Signature,
                             void(Meta, Byte, const Byte_vector&)>);
static_assert(std::is_same_v<r_c00b::RoutineService_ZevoCheckVerificationHash::Start::Signature,
                             void(Meta, const Byte_array<1>&, const Byte_array<16>&)>);
static_assert(std::is_same_v<r_c00c::RoutineService_ZevoGetIdentityHash::Start::Signature,
                             void(Meta, const Byte_array<1>&, const Byte_array<16>&)>);
static_assert(std::is_same_v<r_c00d::RoutineService_ZevoGetPssHash::Start::Signature, void(Meta, Byte)>);
static_assert(std::is_same_v<r_c00f::RoutineService_ZevoGetState::Start::Signature, void(Meta, Byte)>);

// The argument types as the method table spells them (unsigned char) are the same types.
static_assert(std::is_same_v<r_0648::RoutineService_ZevoDebug::Start::Signature,
                             void(Meta, unsigned char, const std::vector<unsigned char>&)>);

/// What holds for every interface: its name, its methods, their identifiers and signatures.
template <class Interface>
struct Common_records {
    static_assert(std::is_same_v<decltype(Interface::name), const char* const>);
    static_assert(std::string_view(Interface::name) == Expected<Interface>::name, "the service name");

    static_assert(method_id_is<typename Interface::Cancel, 0>, "Cancel has identifier 0");
    static_assert(std::is_same_v<typename Interface::Cancel::Signature, void(Meta)>, "Cancel takes meta_info only");

    using Results = Results_method_of<Interface>;
    static_assert(method_id_is<Results, 1>, "Read and RequestResults have identifier 1");
    static_assert(std::is_same_v<typename Results::Signature, typename Results::Output(Meta)>,
                  "Read and RequestResults take meta_info only and return their Output");

    static_assert(has_read<Interface>::value != Expected<Interface>::routine, "Read in data identifiers only");
    static_assert(has_request_results<Interface>::value == Expected<Interface>::routine,
                  "RequestResults in routines only");
    static_assert(has_start<Interface>::value == Expected<Interface>::routine, "Start in routines only");
};

template <class Routine>
struct Routine_records : Common_records<Routine> {
    static_assert(method_id_is<typename Routine::Start, 2>, "Start has identifier 2");
};

template struct Common_records<d_2c55::DataIdentifier_ZevoZevovin>;
template struct Common_records<d_2c56::DataIdentifier_ZevoTrainingCounter>;
template struct Common_records<d_2c57::DataIdentifier_ZevoMissingKeyHistory>;
template struct Common_records<d_2c60::DataIdentifier_ZevoKeyList>;
template struct Routine_records<r_0648::RoutineService_ZevoDebug>;
template struct Routine_records<r_c00a::RoutineService_ZevoHandleDownloadcontainer>;
template struct Routine_records<r_c00b::RoutineService_ZevoCheckVerificationHash>;
template struct Routine_records<r_c00c::RoutineService_ZevoGetIdentityHash>;
template struct Routine_records<r_c00d::RoutineService_ZevoGetPssHash>;
template struct Routine_records<r_c00f::RoutineService_ZevoGetState>;

template <class Interface>
class catalogue_record : public testing::Test {};
TYPED_TEST_SUITE(catalogue_record, All_interfaces, Interface_label);

TYPED_TEST(catalogue_record, output_fields_refer_to_its_members_in_declaration_order) {
    using Output = typename Results_method_of<TypeParam>::Output;
    using Layout = typename Layout_of_fields<decltype(std::declval<Output&>().fields())>::type;
    Output output{};
    const auto offsets = std::apply(
        [&](auto&... member) {
            return std::array<std::ptrdiff_t, sizeof...(member)>{raw::offset_of(&output, &member)...};
        },
        output.fields());
    constexpr auto expected = Layout::offsets();
    ASSERT_EQ(offsets.size(), expected.size());
    for (std::size_t index = 0; index < offsets.size(); ++index) {
        EXPECT_EQ(offsets[index], static_cast<std::ptrdiff_t>(expected[index])) << "member " << index + 1;
    }
}

TYPED_TEST(catalogue_record, const_fields_refer_to_the_same_members) {
    using Output = typename Results_method_of<TypeParam>::Output;
    Output output{};
    const Output& view = output;
    const auto mutable_addresses = std::apply(
        [](auto&... member) { return std::array<const void*, sizeof...(member)>{&member...}; }, output.fields());
    const auto const_addresses = std::apply(
        [](auto&... member) { return std::array<const void*, sizeof...(member)>{&member...}; }, view.fields());
    EXPECT_EQ(mutable_addresses, const_addresses);
}

TYPED_TEST(catalogue_record, name_is_the_full_name_of_the_interface) {
    EXPECT_EQ(std::string(TypeParam::name),
              std::string("talm::services::diag::") + Expected<TypeParam>::label + "::" +
                  std::string(Expected<TypeParam>::what.substr(0, Expected<TypeParam>::what.find("::"))));
}

}  // namespace
