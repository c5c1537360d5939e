// A log that starts as in a new process, at a known moment, without configuration file.
#pragma once
#include "foundation/log.h"
#include "support/log_capture.h"
#include "support/log_collection.h"
#include "unit/foundation/system_calls.h"
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

class log_fixture : public testing::Test {
  protected:
    static constexpr const char *configuration_file = "/etc/vorn_config.json";
    static constexpr const char *log_directory = "/tmp/mobile";
    static constexpr const char *log_file = "/tmp/mobile/lpa.log";
    static constexpr const char *date = "[16/11/2026 03:17:39] ";

    log_fixture()
    {
        setenv("TZ", "UTC0", 1);
        system_calls.wall_clock = 1794799059; // 2026-11-16 03:17:39 UTC
        system_calls.monotonic_clock = timespec{7, 500};
        start_anew();
    }

    ~log_fixture() override
    {
        system_calls.reset();
        start_anew();
        unsetenv("TZ");
    }

    static void configure(const std::string &text) { std::ofstream(configuration_file) << text; }

    static std::string written()
    {
        std::ifstream file(log_file);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // What action writes to standard error.
    template <typename Action> static std::string console(Action action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

  private:
    static void start_anew()
    {
        for (const log_capture::line &line : log_capture::lines())
            log_collection__add(line.level, line.text);
        std::filesystem::remove_all(configuration_file);
        std::filesystem::remove_all(log_file);
        std::filesystem::create_directory(log_directory);
        g_log_level = -1;
        g_log_to_console = 0;
        g_clock_data = {};
    }
};
