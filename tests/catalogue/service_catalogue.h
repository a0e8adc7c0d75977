#pragma once
// The ten service interfaces as the typed tests of this folder run over them: which proxy belongs
// to which interface, the name it is found under, the text of its UDSServiceFailed, and which of
// its methods returns results. Test data only, read on the test's thread.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "bindings/d_2c55/DataIdentifier_ZevoZevovinProxy.h"
#include "bindings/d_2c56/DataIdentifier_ZevoTrainingCounterProxy.h"
#include "bindings/d_2c57/DataIdentifier_ZevoMissingKeyHistoryProxy.h"
#include "bindings/d_2c60/DataIdentifier_ZevoKeyListProxy.h"
#include "bindings/r_0648/RoutineService_ZevoDebugProxy.h"
#include "bindings/r_c00a/RoutineService_ZevoHandleDownloadcontainerProxy.h"
#include "bindings/r_c00b/RoutineService_ZevoCheckVerificationHashProxy.h"
#include "bindings/r_c00c/RoutineService_ZevoGetIdentityHashProxy.h"
#include "bindings/r_c00d/RoutineService_ZevoGetPssHashProxy.h"
#include "bindings/r_c00f/RoutineService_ZevoGetStateProxy.h"

namespace zevo::test {

namespace diag = talm::services::diag;

using Bytes = std::vector<std::uint8_t>;
/// meta_info as every method takes it, spelled out rather than through the project's alias.
using Meta_info = std::map<std::string, std::string>;

/// What each interface's tables fix: label (its namespace), proxy class, service name, error text.
template <class Interface>
struct Expected;

template <>
struct Expected<diag::d_2c55::DataIdentifier_ZevoZevovin> {
    static constexpr const char* label = "d_2c55";
    static constexpr bool routine = false;
    using Proxy = diag::d_2c55::proxy::DataIdentifier_ZevoZevovinProxy;
    static constexpr std::string_view name = "talm::services::diag::d_2c55::DataIdentifier_ZevoZevovin";
    static constexpr std::string_view what = "DataIdentifier_ZevoZevovin::UDSServiceFailed::2";
};

template <>
struct Expected<diag::d_2c56::DataIdentifier_ZevoTrainingCounter> {
    static constexpr const char* label = "d_2c56";
    static constexpr bool routine = false;
    using Proxy = diag::d_2c56::proxy::DataIdentifier_ZevoTrainingCounterProxy;
    static constexpr std::string_view name = "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter";
    static constexpr std::string_view what = "DataIdentifier_ZevoTrainingCounter::UDSServiceFailed::2";
};

template <>
struct Expected<diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory> {
    static constexpr const char* label = "d_2c57";
    static constexpr bool routine = false;
    using Proxy = diag::d_2c57::proxy::DataIdentifier_ZevoMissingKeyHistoryProxy;
    static constexpr std::string_view name = "talm::services::diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory";
    static constexpr std::string_view what = "DataIdentifier_ZevoMissingKeyHistory::UDSServiceFailed::2";
};

template <>
struct Expected<diag::d_2c60::DataIdentifier_ZevoKeyList> {
    static constexpr const char* label = "d_2c60";
    static constexpr bool routine = false;
    using Proxy = diag::d_2c60::proxy::DataIdentifier_ZevoKeyListProxy;
    static constexpr std::string_view name = "talm::services::diag::d_2c60::DataIdentifier_ZevoKeyList";
    static constexpr std::string_view what = "DataIdentifier_ZevoKeyList::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_0648::RoutineService_ZevoDebug> {
    static constexpr const char* label = "r_0648";
    static constexpr bool routine = true;
    using Proxy = diag::r_0648::proxy::RoutineService_ZevoDebugProxy;
    static constexpr std::string_view name = "talm::services::diag::r_0648::RoutineService_ZevoDebug";
    static constexpr std::string_view what = "RoutineService_ZevoDebug::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer> {
    static constexpr const char* label = "r_c00a";
    static constexpr bool routine = true;
    using Proxy = diag::r_c00a::proxy::RoutineService_ZevoHandleDownloadcontainerProxy;
    static constexpr std::string_view name =
        "talm::services::diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer";
    static constexpr std::string_view what = "RoutineService_ZevoHandleDownloadcontainer::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_c00b::RoutineService_ZevoCheckVerificationHash> {
    static constexpr const char* label = "r_c00b";
    static constexpr bool routine = true;
    using Proxy = diag::r_c00b::proxy::RoutineService_ZevoCheckVerificationHashProxy;
    static constexpr std::string_view name = "talm::services::diag::r_c00b::RoutineService_ZevoCheckVerificationHash";
    static constexpr std::string_view what = "RoutineService_ZevoCheckVerificationHash::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_c00c::RoutineService_ZevoGetIdentityHash> {
    static constexpr const char* label = "r_c00c";
    static constexpr bool routine = true;
    using Proxy = diag::r_c00c::proxy::RoutineService_ZevoGetIdentityHashProxy;
    static constexpr std::string_view name = "talm::services::diag::r_c00c::RoutineService_ZevoGetIdentityHash";
    static constexpr std::string_view what = "RoutineService_ZevoGetIdentityHash::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_c00d::RoutineService_ZevoGetPssHash> {
    static constexpr const char* label = "r_c00d";
    static constexpr bool routine = true;
    using Proxy = diag::r_c00d::proxy::RoutineService_ZevoGetPssHashProxy;
    static constexpr std::string_view name = "talm::services::diag::r_c00d::RoutineService_ZevoGetPssHash";
    static constexpr std::string_view what = "RoutineService_ZevoGetPssHash::UDSServiceFailed::2";
};

template <>
struct Expected<diag::r_c00f::RoutineService_ZevoGetState> {
    static constexpr const char* label = "r_c00f";
    static constexpr bool routine = true;
    using Proxy = diag::r_c00f::proxy::RoutineService_ZevoGetStateProxy;
    static constexpr std::string_view name = "talm::services::diag::r_c00f::RoutineService_ZevoGetState";
    static constexpr std::string_view what = "RoutineService_ZevoGetState::UDSServiceFailed::2";
};

#define ZEVO_CATALOGUE_DATA_IDENTIFIERS                                                               \
    diag::d_2c55::DataIdentifier_ZevoZevovin, diag::d_2c56::DataIdentifier_ZevoTrainingCounter,      \
        diag::d_2c57::DataIdentifier_ZevoMissingKeyHistory, diag::d_2c60::DataIdentifier_ZevoKeyList
#define ZEVO_CATALOGUE_ROUTINES                                                                       \
    diag::r_0648::RoutineService_ZevoDebug, diag::r_c00a::RoutineService_ZevoHandleDownloadcontainer, \
        diag::r_c00b::RoutineService_ZevoCheckVerificationHash,                                       \
        diag::r_c00c::RoutineService_ZevoGetIdentityHash, diag::r_c00d::RoutineService_ZevoGetPssHash, \
        diag::r_c00f::RoutineService_ZevoGetState

using Data_identifiers = testing::Types<ZEVO_CATALOGUE_DATA_IDENTIFIERS>;
using Routines = testing::Types<ZEVO_CATALOGUE_ROUTINES>;
using All_interfaces = testing::Types<ZEVO_CATALOGUE_DATA_IDENTIFIERS, ZEVO_CATALOGUE_ROUTINES>;

/// A type handed to a generic lambda, so that one body can run for each interface of a list.
template <class Interface>
struct Type_tag {
    using type = Interface;
};

template <class... Interfaces>
struct Interface_list {
    template <class Check>
    static void for_each(Check&& check) {
        (check(Type_tag<Interfaces>{}), ...);
    }
};

/// The ten interfaces as a pack, for checks that run one interface against all the others.
using All_interface_list = Interface_list<ZEVO_CATALOGUE_DATA_IDENTIFIERS, ZEVO_CATALOGUE_ROUTINES>;

#undef ZEVO_CATALOGUE_DATA_IDENTIFIERS
#undef ZEVO_CATALOGUE_ROUTINES

/// Names each typed test after the namespace of its interface.
struct Interface_label {
    template <class Interface>
    static std::string GetName(int) {
        return Expected<Interface>::label;
    }
};

/// The method that returns results: Read of a data identifier, RequestResults of a routine.
template <class Interface, class = void>
struct Results_method {
    using type = typename Interface::RequestResults;
};
template <class Interface>
struct Results_method<Interface, std::void_t<typename Interface::Read>> {
    using type = typename Interface::Read;
};
template <class Interface>
using Results_method_of = typename Results_method<Interface>::type;

}  // namespace zevo::test
