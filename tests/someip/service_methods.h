#pragma once
// The 26 methods of the ten service interfaces as type lists, derived from one list of the
// interfaces with their identifiers: every method, and the ten that return an Output. Used by the
// typed payload tests and the fuzz targets; types only, no test framework.

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "bindings/d_2c55/DataIdentifier_ZevoZevovin.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounter.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistory.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyList.h"
#include "bindings/r_0648/RoutineService_ZevoDebug.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainer.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHash.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHash.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHash.h"
#include "bindings/r_c00f/RoutineService_ZevoGetState.h"

namespace zevo::test::methods {

namespace diag = talm::services::diag;

/// One service interface and the UDS identifier it serves.
template <std::uint16_t Identifier, class Interface_type>
struct Service {
    static constexpr std::uint16_t identifier = Identifier;
    using Interface = Interface_type;
};

using All_services = std::tuple<Service<0x2C55, diag::d_2c55::DataIdentifier_ZevoZevovin>,
                                Service<0x2C56, diag::d_2c56::DataIdentifier_ZevoTrainingCounter>,
                                Service<0x2C57, diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory>,
                                Service<0x2C60, diag::d_2c60::DataIdentifier_ZevoKeyList>,
                                Service<0x0648, diag::r_0648::RoutineService_ZevoDebug>,
                                Service<0xC00A, diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer>,
                                Service<0xC00B, diag::r_c00b::RoutineService_ZevoCheckVerificationHash>,
                                Service<0xC00C, diag::r_c00c::RoutineService_ZevoGetIdentityHash>,
                                Service<0xC00D, diag::r_c00d::RoutineService_ZevoGetPssHash>,
                                Service<0xC00F, diag::r_c00f::RoutineService_ZevoGetState>>;

/// A routine's interface has Start; a data identifier's has not.
template <class Interface, class = void>
struct Is_routine : std::false_type {};
template <class Interface>
struct Is_routine<Interface, std::void_t<typename Interface::Start>> : std::true_type {};

/// The method that returns an Output: Read of a data identifier, RequestResults of a routine.
template <class Interface, class = void>
struct Results_method {
    using type = typename Interface::Read;
    static constexpr const char* name = "Read";
};
template <class Interface>
struct Results_method<Interface, std::enable_if_t<Is_routine<Interface>::value>> {
    using type = typename Interface::RequestResults;
    static constexpr const char* name = "RequestResults";
};

/// One method of one service, named for test output ("0x2C55_Read").
template <class Service_type, class Method_type>
struct Method_case {
    using Service = Service_type;
    using Interface = typename Service_type::Interface;
    using Method = Method_type;
    static constexpr bool is_cancel = std::is_same_v<Method_type, typename Interface::Cancel>;
    static constexpr bool is_results = std::is_same_v<Method_type, typename Results_method<Interface>::type>;
    static constexpr bool is_routine = Is_routine<Interface>::value;

    static std::string name() {
        const char* method = is_cancel ? "Cancel" : is_results ? Results_method<Interface>::name : "Start";
        return identifier_label() + "_" + method;
    }
    static std::string identifier_label() {
        constexpr const char* digits = "0123456789ABCDEF";
        std::string label = "0x";
        for (int shift = 12; shift >= 0; shift -= 4) {
            label += digits[(Service_type::identifier >> shift) & 0xF];
        }
        return label;
    }
};

template <class Service, class = void>
struct Methods_of {
    using Interface = typename Service::Interface;
    using type = std::tuple<Method_case<Service, typename Interface::Cancel>,
                            Method_case<Service, typename Results_method<Interface>::type>>;
};
template <class Service>
struct Methods_of<Service, std::enable_if_t<Is_routine<typename Service::Interface>::value>> {
    using Interface = typename Service::Interface;
    using type = std::tuple<Method_case<Service, typename Interface::Cancel>,
                            Method_case<Service, typename Interface::RequestResults>,
                            Method_case<Service, typename Interface::Start>>;
};

template <class Services>
struct Methods_of_all;
template <class... Services>
struct Methods_of_all<std::tuple<Services...>> {
    using type = decltype(std::tuple_cat(std::declval<typename Methods_of<Services>::type>()...));
    using results = std::tuple<Method_case<Services, typename Results_method<typename Services::Interface>::type>...>;
};

/// All 26 methods: Cancel and Read or RequestResults of every interface, Start of the routines.
using All_methods = typename Methods_of_all<All_services>::type;
/// The ten methods with an Output.
using Results_methods = typename Methods_of_all<All_services>::results;

static_assert(std::tuple_size_v<All_methods> == 26);
static_assert(std::tuple_size_v<Results_methods> == 10);

/// The same types in another list template, such as testing::Types.
template <template <class...> class List, class Tuple>
struct Rebind;
template <template <class...> class List, class... Types>
struct Rebind<List, std::tuple<Types...>> {
    using type = List<Types...>;
};
template <template <class...> class List, class Tuple>
using Rebind_t = typename Rebind<List, Tuple>::type;

/// A type handed to a generic lambda, so that one body can run for each type of a list.
template <class T>
struct Type_tag {
    using type = T;
};

template <class Tuple>
struct For_each_type;
template <class... Types>
struct For_each_type<std::tuple<Types...>> {
    template <class Body>
    static void run(Body& body) {
        (body(Type_tag<Types>{}), ...);
    }
};

/// Calls `body` with a Type_tag of each type of `Tuple`, in order.
template <class Tuple, class Body>
void for_each_type(Body&& body) {
    For_each_type<Tuple>::run(body);
}

}  // namespace zevo::test::methods
