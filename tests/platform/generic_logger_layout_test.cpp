// Generic_logger as code compiled elsewhere reads it: the backend pointer is the second field,
// one pointer in; and ara::com::logger() gives one object whose backend writes through ara::log.
#include "ruv/com/log/generic_logger.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "ara/com/logger.h"
#include "ruv/com/log/ara_log_backend.h"

namespace {

using ruv::com::log::Generic_logger;
using ruv::com::log::Log_backend;

static_assert(std::is_standard_layout_v<Generic_logger>);
static_assert(offsetof(Generic_logger, name) == 0);
static_assert(offsetof(Generic_logger, backend) == sizeof(void*));
static_assert(sizeof(Generic_logger) == 2 * sizeof(void*));
static_assert(std::has_virtual_destructor_v<Log_backend>);
static_assert(sizeof(ruv::com::log::Ara_log_backend) == 2 * sizeof(void*),
              "the virtual table pointer and the logger pointer, nothing else");

TEST(Generic_logger_layout, second_field_read_as_raw_memory_is_the_backend) {
    Generic_logger& sut = ara::com::logger();
    Log_backend* read = nullptr;
    std::memcpy(&read, reinterpret_cast<unsigned char const*>(&sut) + sizeof(void*), sizeof read);
    EXPECT_EQ(read, sut.backend);
    EXPECT_EQ(read, &sut.get_backend());
}

TEST(Com_logger, is_one_object_for_the_whole_process) {
    EXPECT_EQ(&ara::com::logger(), &ara::com::logger());
    EXPECT_STREQ(ara::com::logger().name, "ara::com");
}

TEST(Com_logger, backend_writes_through_ara_log) {
    Log_backend& backend = ara::com::logger().get_backend();
    EXPECT_NE(dynamic_cast<ruv::com::log::Ara_log_backend*>(&backend), nullptr);
    ara::log::Logger const& ara_logger = ara::log::CreateLogger("ZEVO", "ACOM");
    for (unsigned char level = 0; level <= 7; ++level) {
        EXPECT_EQ(backend.is_log_enabled(level),
                  ara_logger.IsLogEnabled(static_cast<ara::log::LogLevel>(level)));
    }
}

}  // namespace
