// The deployment manifest's reader: the shipped manifests, the defaults, and one error per rule,
// each naming the file and the JSON path.

#include "com/manifest/manifest_reader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include <nlohmann/json.hpp>

namespace {

using namespace ruv::com::someip_binding;
using Json = nlohmann::json;

Json minimal() {
    return Json::parse(R"({
      "unicast": "127.0.0.1",
      "interfaces": [{
        "name": "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter",
        "service_id": "0x2C56", "major_version": 1,
        "methods": {"Cancel": 1, "Read": 2}, "transports": ["udp"]
      }, {
        "name": "talm::services::diag::r_c00f::RoutineService_ZevoGetState",
        "service_id": 49167, "major_version": 2, "minor_version": 7,
        "methods": {"Cancel": 1, "RequestResults": 2, "Start": 3},
        "transports": ["udp", "tcp"], "request_transport": "tcp"
      }],
      "services": [
        {"interface": "talm::services::diag::d_2c56::DataIdentifier_ZevoTrainingCounter", "instance": "1",
         "instance_id": 1, "udp_port": 30501},
        {"interface": "talm::services::diag::r_c00f::RoutineService_ZevoGetState", "instance": "1",
         "instance_id": 1}
      ]
    })");
}

/// The complaint that parsing `json` gives, or "" when it parses.
std::string complaint(const Json& json) {
    try {
        parse_manifest(json.dump(), "m.json");
    } catch (const Manifest_error& error) {
        return error.what();
    }
    return "";
}

TEST(Manifest_reader, reads_the_minimal_manifest_with_defaults) {
    const Manifest manifest = parse_manifest(minimal().dump(), "m.json");
    EXPECT_EQ(to_text(manifest.unicast), "127.0.0.1");
    EXPECT_EQ(manifest.request_timeout, std::chrono::seconds(10));
    EXPECT_EQ(manifest.sd.port, 30490);
    EXPECT_EQ(to_text(manifest.sd.multicast), "224.244.224.245");
    EXPECT_EQ(manifest.sd.ttl_seconds, 0xFFFFFFU);
    const Interface_deployment* counter = manifest.interface_with_id(0x2C56);
    ASSERT_NE(counter, nullptr);
    EXPECT_EQ(counter->method_ids, (std::array<std::uint16_t, 3>{1, 2, 0}));
    EXPECT_EQ(counter->request_transport, Transport::udp);
    EXPECT_EQ(counter->method_index(2), 1);
    EXPECT_FALSE(counter->method_index(0));
    const Interface_deployment* state = manifest.interface_named("talm::services::diag::r_c00f::RoutineService_ZevoGetState");
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->service_id, 0xC00F);
    EXPECT_EQ(state->minor_version, 7U);
    EXPECT_EQ(state->request_transport, Transport::tcp);
    const Instance_deployment* instance = manifest.instance_of(counter->name, "1");
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(instance->udp_port, 30501);
    EXPECT_EQ(instance->tcp_port, 0);
    EXPECT_EQ(manifest.instance_with_id(counter->name, 1), instance);
}

TEST(Manifest_reader, reads_every_sd_setting) {
    Json json = minimal();
    json["service_discovery"] = Json::parse(R"({"multicast": "239.1.2.3", "port": 30491,
        "initial_delay_min_ms": 5, "initial_delay_max_ms": 9, "repetition_base_delay_ms": 20,
        "repetition_max": 2, "cyclic_offer_delay_ms": 500, "ttl_s": 3, "request_response_delay_ms": 7})");
    json["request_timeout_ms"] = 250;
    const Manifest manifest = parse_manifest(json.dump(), "m.json");
    EXPECT_EQ(to_text(manifest.sd.multicast), "239.1.2.3");
    EXPECT_EQ(manifest.sd.port, 30491);
    EXPECT_EQ(manifest.sd.initial_delay_min.count(), 5);
    EXPECT_EQ(manifest.sd.initial_delay_max.count(), 9);
    EXPECT_EQ(manifest.sd.repetition_base_delay.count(), 20);
    EXPECT_EQ(manifest.sd.repetition_max, 2U);
    EXPECT_EQ(manifest.sd.cyclic_offer_delay.count(), 500);
    EXPECT_EQ(manifest.sd.ttl_seconds, 3U);
    EXPECT_EQ(manifest.sd.request_response_delay.count(), 7);
    EXPECT_EQ(manifest.request_timeout.count(), 250);
}

TEST(Manifest_reader, names_the_path_of_a_wrong_type) {
    Json json = minimal();
    json["services"][1]["instance_id"] = "one";
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[1].instance_id: expected an integer 1..65534");
}

TEST(Manifest_reader, refuses_unknown_keys_at_every_level) {
    Json json = minimal();
    json["colour"] = 1;
    EXPECT_EQ(complaint(json), "manifest m.json: $.colour: unknown key");
    json = minimal();
    json["interfaces"][0]["colour"] = 1;
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].colour: unknown key");
    json = minimal();
    json["service_discovery"] = Json::parse(R"({"ttl": 3})");
    EXPECT_EQ(complaint(json), "manifest m.json: $.service_discovery.ttl: unknown key");
    json = minimal();
    json["services"][0]["port"] = 1;
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[0].port: unknown key");
}

TEST(Manifest_reader, names_a_missing_key) {
    Json json = minimal();
    json.erase("unicast");
    EXPECT_EQ(complaint(json), "manifest m.json: $: missing \"unicast\"");
    json = minimal();
    json["interfaces"][0].erase("service_id");
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0]: missing \"service_id\"");
    json = minimal();
    json["interfaces"][0]["methods"].erase("Cancel");
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].methods: missing \"Cancel\"");
}

TEST(Manifest_reader, refuses_reserved_service_ids_and_method_ids) {
    for (const Json& id : {Json(0), Json(0xFFFF), Json("0xFFFF"), Json("0x"), Json("0xZZ"), Json(-1), Json(1.5)}) {
        Json json = minimal();
        json["interfaces"][0]["service_id"] = id;
        EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].service_id: expected an integer 1..65534") << id;
    }
    for (const Json& id : {Json(0), Json(0x7FFF), Json(0x8000)}) {
        Json json = minimal();
        json["interfaces"][0]["methods"]["Read"] = id;
        EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].methods.Read: expected an integer 1..32766") << id;
    }
}

TEST(Manifest_reader, refuses_unknown_and_doubled_methods) {
    Json json = minimal();
    json["interfaces"][0]["methods"]["Write"] = 4;
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].methods.Write: unknown method: expected Cancel, "
                               "Read, RequestResults or Start");
    json = minimal();
    json["interfaces"][1]["methods"]["Read"] = 4;
    EXPECT_NE(complaint(json).find("a second method with index 1"), std::string::npos);
    json = minimal();
    json["interfaces"][1]["methods"]["Start"] = 2;
    EXPECT_NE(complaint(json).find("$.interfaces[1].methods.Start: a second method with this wire method id"),
              std::string::npos);
}

TEST(Manifest_reader, refuses_bad_addresses) {
    for (const char* address : {"127.0.0", "127.0.0.256", "127.0.0.1.5", "a.b.c.d", "127.0.0.1x", ""}) {
        Json json = minimal();
        json["unicast"] = address;
        EXPECT_EQ(complaint(json), "manifest m.json: $.unicast: expected an IPv4 address such as \"127.0.0.1\"")
            << address;
    }
    Json json = minimal();
    json["service_discovery"] = Json::parse(R"({"multicast": "10.0.0.1"})");
    EXPECT_NE(complaint(json).find("$.service_discovery.multicast: expected an IPv4 multicast address"),
              std::string::npos);
}

TEST(Manifest_reader, refuses_contradictory_sd_timing) {
    Json json = minimal();
    json["service_discovery"] = Json::parse(R"({"initial_delay_min_ms": 10, "initial_delay_max_ms": 9})");
    EXPECT_EQ(complaint(json),
              "manifest m.json: $.service_discovery.initial_delay_max_ms: expected at least initial_delay_min_ms");
    json["service_discovery"] = Json::parse(R"({"ttl_s": 0})");
    EXPECT_EQ(complaint(json), "manifest m.json: $.service_discovery.ttl_s: expected an integer 1..16777215");
    json["service_discovery"] = Json::parse(R"({"cyclic_offer_delay_ms": 0})");
    EXPECT_NE(complaint(json).find("$.service_discovery.cyclic_offer_delay_ms"), std::string::npos);
}

TEST(Manifest_reader, refuses_transport_contradictions) {
    Json json = minimal();
    json["interfaces"][0]["request_transport"] = "tcp";
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].request_transport: not one of the interface's transports");
    json = minimal();
    json["interfaces"][1].erase("request_transport");
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[1]: missing \"request_transport\": the interface has two transports");
    json = minimal();
    json["interfaces"][0]["transports"] = Json::parse(R"(["udp", "udp"])");
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].transports[1]: named twice");
    json["interfaces"][0]["transports"] = Json::parse(R"(["sctp"])");
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].transports[0]: expected \"udp\" or \"tcp\"");
    json["interfaces"][0]["transports"] = Json::array();
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[0].transports: expected a non-empty array");
    json = minimal();
    json["services"][0]["tcp_port"] = 30501;
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[0].tcp_port: the interface has no tcp transport");
}

TEST(Manifest_reader, refuses_doubled_interfaces_and_instances) {
    Json json = minimal();
    json["interfaces"][1]["service_id"] = 0x2C56;
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[1].service_id: a second interface with this service id");
    json = minimal();
    json["interfaces"][1]["name"] = json["interfaces"][0]["name"];
    EXPECT_EQ(complaint(json), "manifest m.json: $.interfaces[1].name: a second interface of this name");
    json = minimal();
    json["services"].push_back(json["services"][0]);
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[2].instance: a second entry for this interface and instance");
    json["services"][2]["instance"] = "2";
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[2].instance_id: a second instance of this interface with this id");
    json = minimal();
    json["services"][0]["interface"] = "talm::services::diag::d_9999::Nothing";
    EXPECT_EQ(complaint(json), "manifest m.json: $.services[0].interface: not an interface of $.interfaces");
}

TEST(Manifest_reader, names_text_that_is_no_json_and_a_file_that_cannot_be_read) {
    try {
        parse_manifest("{\"unicast\": ", "m.json");
        FAIL() << "parsed";
    } catch (const Manifest_error& error) {
        EXPECT_EQ(std::string(error.what()).rfind("manifest m.json: not JSON: ", 0), 0U) << error.what();
    }
    EXPECT_THROW(read_manifest("/nonexistent/m.json"), Manifest_error);
    EXPECT_EQ(complaint(Json::array()), "manifest m.json: $: expected an object");
}

TEST(Manifest_reader, reads_the_path_from_the_environment) {
    ::unsetenv(manifest_variable);
    EXPECT_FALSE(manifest_path_from_environment());
    ::setenv(manifest_variable, "", 1);
    EXPECT_FALSE(manifest_path_from_environment());
    ::setenv(manifest_variable, "/etc/m.json", 1);
    EXPECT_EQ(manifest_path_from_environment(), "/etc/m.json");
    ::unsetenv(manifest_variable);
}

TEST(Manifest_reader, the_shipped_manifests_cover_the_ten_services_with_matching_numbers) {
    const Manifest host = read_manifest(ZEVO_SOURCE_DIR "/manifests/host.json");
    const Manifest keysim = read_manifest(ZEVO_SOURCE_DIR "/manifests/keysim.json");
    EXPECT_EQ(to_text(host.unicast), "127.0.0.1");
    EXPECT_EQ(to_text(keysim.unicast), "127.0.0.2");
    ASSERT_EQ(host.interfaces.size(), 10U);
    ASSERT_EQ(keysim.instances.size(), 10U);
    std::set<std::uint16_t> ids;
    for (const Interface_deployment& interface : host.interfaces) {
        ids.insert(interface.service_id);
        const Interface_deployment* other = keysim.interface_named(interface.name);
        ASSERT_NE(other, nullptr) << interface.name;
        EXPECT_EQ(other->service_id, interface.service_id);
        EXPECT_EQ(other->method_ids, interface.method_ids);
        EXPECT_EQ(other->major_version, interface.major_version);
        const bool routine = interface.name.find("::r_") != std::string::npos;
        EXPECT_EQ(interface.method_ids[2] != 0, routine) << interface.name;
        const Instance_deployment* offered = keysim.instance_of(interface.name, "1");
        ASSERT_NE(offered, nullptr);
        EXPECT_NE(offered->udp_port, 0);
        EXPECT_NE(offered->tcp_port, 0);
        EXPECT_NE(host.instance_of(interface.name, "1"), nullptr);
    }
    EXPECT_EQ(ids.size(), 10U);
}

}  // namespace
