// The shared object as the web server loads it.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <xercesc/util/PlatformUtils.hpp>

#include "host/websocket_plugin.h"
#include "tests/kit/log_capture.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace {

// Loads the plug-in. Its globals are never destroyed, so each loading leaves a few of them behind.
void* loadPlugin() {
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler leavesGlobals;
#endif
    return dlopen(LV_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
}

std::size_t entries(const char* directory) {
    const std::filesystem::directory_iterator all(directory);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    char buffer[4096];
    std::size_t count = 0;
    while (pipe != nullptr && (count = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        output.append(buffer, count);
    }
    return pipe != nullptr && pclose(pipe) == 0 ? output : "cannot run " + command;
}

}  // namespace

TEST(PluginFile, ExportsItsInitFunctionAlone) {
    const std::string symbols =
        outputOf("nm --dynamic --defined-only --format=just-symbols " LV_PLUGIN_FILE);
    EXPECT_EQ(symbols, "krwebsocket_init\n");
}

TEST(PluginFile, IsNamedWithoutAPrefix) {
    EXPECT_EQ(std::filesystem::path(LV_PLUGIN_FILE).filename(), "krwebsocket.so");
}

TEST(PluginFile, CanBeLoadedTwiceAndDoesNothingButAnswer) {
    const std::size_t threads = entries("/proc/self/task");
    const std::size_t descriptors = entries("/proc/self/fd");
    std::string written;
    for (int round = 0; round < 2; ++round) {
        const LogCapture capture;
        void* module = loadPlugin();
        ASSERT_NE(module, nullptr) << dlerror();
        const auto init = reinterpret_cast<WebSocketPluginInit>(dlsym(module, "krwebsocket_init"));
        ASSERT_NE(init, nullptr);
        const WebSocketPlugin* record = init();
        EXPECT_EQ(record->size, sizeof(WebSocketPlugin));
        EXPECT_EQ(record, init());
        EXPECT_EQ(entries("/proc/self/task"), threads);
        EXPECT_EQ(xercesc::XMLPlatformUtils::fgTransService, nullptr);
        EXPECT_EQ(dlclose(module), 0);
        written += capture.standardOutput() + capture.standardError();
    }
    EXPECT_EQ(written, "");
    EXPECT_EQ(entries("/proc/self/fd"), descriptors);
}
