#include "modules/config/config_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "modules/config/config_storage.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/mounted_disk.h"
#include "tests/kit/temporary_directory.h"
#include "tests/kit/worker_session.h"
#include "tests/modules/config/directory_fault.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A session with a configuration directory of its own.
class ConfigModule : public testing::Test {
  protected:
    ConfigModule() { klv::configurationDirectory = directory_.path().string() + "/"; }
    ~ConfigModule() override {
        fs::permissions(directory_.path(), fs::perms::owner_all);
        klv::configurationDirectory = installed_;
    }

    // Runs the request and returns what the browser was sent for it, as compact JSON.
    std::vector<std::string> run(const std::string& request) {
        return session_.answersTo(wa_handle_message_config, request);
    }
    std::vector<std::string> save(const std::string& name, const std::string& text) {
        return runWith({{"command", "save_config"}, {"name", name}, {"config", text}});
    }
    std::vector<std::string> load(const std::string& name) {
        return runWith({{"command", "load_config"}, {"name", name}});
    }
    std::vector<std::string> remove(const std::string& name) {
        return runWith({{"command", "delete_config"}, {"name", name}});
    }

    fs::path path(const std::string& name) const { return directory_.path() / name; }
    std::string content(const std::string& name) const { return contentOf(path(name)); }
    void put(const std::string& name, const std::string& text) const {
        directory_.write(name, text);
    }
    // Text of the only answer's member.
    std::string member(const char* name) const {
        const Document answer = session_.host.json(0);
        return answer.IsObject() && answer.HasMember(name) ? answer[name].GetString() : "(none)";
    }

    const RecordingHost& host() const { return session_.host; }

  private:
    std::vector<std::string> runWith(
        const std::vector<std::pair<std::string, std::string>>& members) {
        session_.host.clearFrames();
        Document doc(rapidjson::kObjectType);
        auto& allocator = doc.GetAllocator();
        for (const auto& [name, value] : members) {
            doc.AddMember(Value(name, allocator), Value(value, allocator), allocator);
        }
        EXPECT_EQ(1, wa_handle_message_config(members.front().second, doc));
        return session_.sent();
    }

    WorkerSession session_;
    const std::string installed_ = klv::configurationDirectory;
    const TemporaryDirectory directory_;
};

constexpr const char* kSaved = R"({"response":"save_config","name":"a","status":"OK"})";

std::vector<std::string> notSaved(const std::string& name) {
    return {R"({"response":"save_config","name":")" + name +
            R"(","status":"ERROR","error_code":"unspecified"})"};
}

std::vector<std::string> notLoaded(const std::string& name) {
    return {R"({"response":"load_config","name":")" + name +
            R"(","config":"","status":"ERROR","error_code":"illegal_config"})"};
}

constexpr const char* kNotDeleted =
    R"({"response":"delete_config","status":"ERROR","error_code":"illegal_config"})";

constexpr const char* kNotListed =
    R"({"response":"get_configs","status":"ERROR","error_code":"illegal_config"})";

TEST_F(ConfigModule, LeavesOtherCommandsToOtherModules) {
    const Document doc(rapidjson::kObjectType);
    EXPECT_EQ(0, wa_handle_message_config("get_bus_names", doc));
    EXPECT_EQ(0, wa_handle_message_config("save_configs", doc));
    EXPECT_EQ(0, wa_handle_message_config("", doc));
    EXPECT_THAT(host().frames(), IsEmpty());
}

TEST(ConfigStorage, KeepsConfigurationsWhereTheInstallationPutsTheDirectory) {
    EXPECT_EQ("/var/opt/sandorvale/etc/webapp/config/a", klv::configurationPath("a"));
}

TEST_F(ConfigModule, ListsWhatWasSavedBesidesOtherFilesAndDirectories) {
    put("other", "");
    fs::create_directory(path("sub"));
    EXPECT_THAT(save("a", "x"), ElementsAre(kSaved));

    LogCapture log;
    run(R"({"command":"get_configs"})");
    const Document answer = host().json(0);
    std::vector<std::string> names;
    for (const auto& entry : answer["configs"].GetArray()) {
        EXPECT_EQ(1u, entry.MemberCount());
        names.emplace_back(entry["name"].GetString());
    }
    EXPECT_THAT(names, UnorderedElementsAre("a", "other", "sub"));
    EXPECT_STREQ("get_configs", answer["response"].GetString());
    EXPECT_STREQ("OK", answer["status"].GetString());
    EXPECT_EQ(3u, answer.MemberCount());
    EXPECT_EQ("[DEBUG] KLV::WaResponseGetConfigurations() files:",
              log.logLines("WaResponseGetConfigurations").front());
    EXPECT_THAT(log.logLines("WaResponseGetConfigurations"),
                UnorderedElementsAre("[DEBUG] KLV::WaResponseGetConfigurations() files:",
                                     "[DEBUG] KLV::WaResponseGetConfigurations() .",
                                     "[DEBUG] KLV::WaResponseGetConfigurations() ..",
                                     "[DEBUG] KLV::WaResponseGetConfigurations() a",
                                     "[DEBUG] KLV::WaResponseGetConfigurations() other",
                                     "[DEBUG] KLV::WaResponseGetConfigurations() sub"));
}

TEST_F(ConfigModule, ListsInTheOrderOfTheDirectory) {
    for (const char* name : {"b", "e", "a", "d", "c", "g", "f"}) {
        put(name, "");
    }
    std::string expected;
    for (const auto& entry : fs::directory_iterator(path(""))) {
        expected += expected.empty() ? "" : ",";
        expected += R"({"name":")" + entry.path().filename().string() + R"("})";
    }
    EXPECT_THAT(
        run(R"({"command":"get_configs"})"),
        ElementsAre(R"({"response":"get_configs","configs":[)" + expected + R"(],"status":"OK"})"));
}

TEST_F(ConfigModule, ListsAnEmptyDirectoryAsAnEmptyArray) {
    EXPECT_THAT(run(R"({"command":"get_configs"})"),
                ElementsAre(R"({"response":"get_configs","configs":[],"status":"OK"})"));
}

TEST_F(ConfigModule, AnswersAnErrorWhenTheDirectoryIsMissing) {
    klv::configurationDirectory += "missing/";
    LogCapture log;
    EXPECT_THAT(run(R"({"command":"get_configs"})"), ElementsAre(kNotListed));
    EXPECT_THAT(log.logLines("WaResponseGetConfigurations"),
                ElementsAre("[ERROR] KLV::WaResponseGetConfigurations() Error opening " +
                            klv::configurationDirectory + ": " + std::strerror(ENOENT)));
    EXPECT_THAT(save("a", "x"), notSaved("a"));
}

TEST_F(ConfigModule, AnswersAnErrorWhenTheDirectoryCannotBeReadToItsEnd) {
    put("a", "x");
    put("b", "x");
    LogCapture log;
    entriesUntilFault = 2;
    const auto answer = run(R"({"command":"get_configs"})");
    entriesUntilFault = -1;
    EXPECT_THAT(answer, ElementsAre(kNotListed));
    EXPECT_THAT(log.logLines("WaResponseGetConfigurations"),
                ElementsAre("[ERROR] KLV::WaResponseGetConfigurations() Error opening " +
                            klv::configurationDirectory + ": " + std::strerror(EIO)));
}

TEST_F(ConfigModule, KeepsOnlyTheSecondTextSavedUnderOneName) {
    EXPECT_THAT(save("a", "a longer text"), ElementsAre(kSaved));
    EXPECT_THAT(save("a", "x"), ElementsAre(kSaved));
    EXPECT_EQ("x", content("a"));
}

TEST_F(ConfigModule, LogsWhatItSaves) {
    LogCapture log;
    save("a", "x");
    EXPECT_THAT(log.logLines("save_configuration"),
                ElementsAre("[DEBUG] KLV::save_configuration() save configuration.",
                            "[DEBUG] KLV::save_configuration() name: a\tconfig: x"));
}

TEST_F(ConfigModule, StoresEveryCharacterAsItCame) {
    const std::string text = "\"quotes\" \\ / \b\f\n\r\t \x01\x1f \x7f ä€😀 {\"json\":[1,2]}";
    EXPECT_THAT(save("a", text), ElementsAre(kSaved));
    EXPECT_EQ(text, content("a"));
    load("a");
    EXPECT_EQ(text, member("config"));
}

TEST_F(ConfigModule, StoresFiveMegabytes) {
    const LogCapture log;  // which has all of them, several times
    std::string text;
    while (text.size() < 5u << 20) {
        text += "line " + std::to_string(text.size()) + "\n";
    }
    EXPECT_THAT(save("a", text), ElementsAre(kSaved));
    EXPECT_EQ(text, content("a"));
    load("a");
    EXPECT_EQ(text, member("config"));
}

TEST_F(ConfigModule, CutsATextAtItsFirstZeroCharacter) {
    EXPECT_THAT(run(R"({"command":"save_config","name":"a","config":"one\u0000two"})"),
                ElementsAre(kSaved));
    EXPECT_EQ("one", content("a"));
}

TEST_F(ConfigModule, UsesNamesAsTheyAreGiven) {
    fs::create_directory(path("sub"));
    EXPECT_THAT(
        save("sub/../sub/inside", "x"),
        ElementsAre(R"({"response":"save_config","name":"sub/../sub/inside","status":"OK"})"));
    EXPECT_EQ("x", content("sub/inside"));
    load("sub/inside");
    EXPECT_EQ("x", member("config"));
    EXPECT_THAT(remove("sub/inside"), ElementsAre(R"({"response":"delete_config","status":"OK"})"));
    EXPECT_FALSE(fs::exists(path("sub/inside")));
}

TEST_F(ConfigModule, RefusesToSaveAnEmptyTextBeforeItLooksAtTheName) {
    LogCapture log;
    EXPECT_THAT(
        save("", ""),
        ElementsAre(
            R"({"response":"save_config","status":"ERROR","error_code":"illegal_config","error_msg":"config must not be empty"})"));
    EXPECT_THAT(log.logLines("save_configuration"),
                ElementsAre("[DEBUG] KLV::save_configuration() save configuration.",
                            "[DEBUG] KLV::save_configuration() name: \tconfig: ",
                            "[ERROR] KLV::save_configuration() config must not be empty"));
}

TEST_F(ConfigModule, RefusesAnEmptyName) {
    const auto refused = [](const std::string& command) {
        return R"({"response":")" + command +
               R"(","status":"ERROR","error_code":"illegal_config","error_msg":"config name must not be empty"})";
    };
    LogCapture log;
    EXPECT_THAT(save("", "x"), ElementsAre(refused("save_config")));
    EXPECT_THAT(load(""), ElementsAre(refused("load_config")));
    EXPECT_THAT(remove(""), ElementsAre(refused("delete_config")));
    EXPECT_THAT(log.logLines("save_configuration"),
                ElementsAre("[DEBUG] KLV::save_configuration() save configuration.",
                            "[DEBUG] KLV::save_configuration() name: \tconfig: x",
                            "[ERROR] KLV::save_configuration() config name must not be empty"));
    EXPECT_THAT(log.logLines("load_configuration"),
                ElementsAre("[ERROR] KLV::load_configuration() config name must not be empty"));
    EXPECT_THAT(log.logLines("delete_configuration"),
                ElementsAre("[DEBUG] KLV::delete_configuration() delete_configuration: name: ",
                            "[ERROR] KLV::delete_configuration() config name must not be empty"));
}

TEST_F(ConfigModule, LeavesMissingMembersToTheParser) {
    const auto refused = [](const std::string& command, const std::string& reason) {
        return ElementsAre(R"({"response":")" + command +
                           R"(","status":"ERROR","error_code":"invalid_command","error_msg":")" +
                           reason + R"("})");
    };
    EXPECT_THAT(
        run(R"({"command":"save_config","name":"a"})"),
        refused(
            "save_config",
            R"(no entry for 'config'. ({\n    \"command\": \"save_config\",\n    \"name\": \"a\"\n}))"));
    EXPECT_THAT(
        run(R"({"command":"save_config","config":1})"),
        refused(
            "save_config",
            R"(no entry for 'name'. ({\n    \"command\": \"save_config\",\n    \"config\": 1\n}))"));
    EXPECT_THAT(
        run(R"({"command":"load_config","name":1})"),
        refused(
            "load_config",
            R"(value of 'name' must be a string .  You send a Number. IsUint32: 1. IsDouble: 0 . ({\n    \"command\": \"load_config\",\n    \"name\": 1\n}))"));
    EXPECT_THAT(run(R"({"command":"delete_config"})"),
                refused("delete_config",
                        R"(no entry for 'name'. ({\n    \"command\": \"delete_config\"\n}))"));
    EXPECT_TRUE(fs::is_empty(path("")));
}

TEST_F(ConfigModule, AnswersUnspecifiedWhenTheFileCannotBeMade) {
    fs::create_directory(path("directory"));
    const std::string longName(300, 'n');
    LogCapture log;
    EXPECT_THAT(save("directory", "x"), notSaved("directory"));
    EXPECT_THAT(save(longName, "x"), notSaved(longName));
    EXPECT_THAT(save("missing/a", "x"), notSaved("missing/a"));
    EXPECT_THAT(log.logLines("save_configuration"),
                Contains("[ERROR] KLV::save_configuration() Unable to open file " +
                         klv::configurationDirectory + "directory"));
}

TEST_F(ConfigModule, NeverSaysThatATextWasSavedWhenTheDiskIsFull) {
    // Every write to this device fails as on a full disk; it is also no regular file.
    fs::create_symlink("/dev/full", path("full"));
    EXPECT_THAT(save("full", "x"), notSaved("full"));
}

TEST_F(ConfigModule, KeepsTheOldTextAndNothingElseWhenTheDiskIsFull) {
    if (const std::string reason = MountedDisk::whyNot(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const MountedDisk disk(path(""), "tmpfs", "size=64k");
    EXPECT_THAT(save("a", "old"), ElementsAre(kSaved));
    EXPECT_THAT(save("a", std::string(200'000, 'x')), notSaved("a"));
    EXPECT_EQ("old", content("a"));
    EXPECT_THAT(save("b", std::string(200'000, 'x')), notSaved("b"));
    EXPECT_THAT(
        run(R"({"command":"get_configs"})"),
        ElementsAre(R"({"response":"get_configs","configs":[{"name":"a"}],"status":"OK"})"));
}

TEST_F(ConfigModule, IsHeldUpByNoFifo) {
    ASSERT_EQ(0, ::mkfifo(path("fifo").c_str(), 0600));
    EXPECT_THAT(save("fifo", "x"), notSaved("fifo"));
    EXPECT_THAT(load("fifo"), notLoaded("fifo"));
}

TEST_F(ConfigModule, LoadsNothingThatMemoryCannotHoldAsOftenAsAnAnswerNeedsIt) {
    // A hole, which takes no room on the disk.
    put("large", "");
    const auto memory = static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
                        static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    fs::resize_file(path("large"), memory / 4);
    LogCapture log;
    EXPECT_THAT(load("large"), notLoaded("large"));
    EXPECT_THAT(log.logLines("load_configuration"),
                ElementsAre("[DEBUG] KLV::load_configuration() Unable to open file"));
}

TEST_F(ConfigModule, LoadsAnEmptyFileAsAnEmptyText) {
    put("a", "");
    LogCapture log;
    EXPECT_THAT(load("a"),
                ElementsAre(R"({"response":"load_config","name":"a","config":"","status":"OK"})"));
    EXPECT_THAT(log.logLines("load_configuration"),
                ElementsAre("[DEBUG] KLV::load_configuration() length: 0",
                            "[DEBUG] KLV::load_configuration() config: "));
}

TEST_F(ConfigModule, LoadsAFileUpToItsFirstZeroCharacter) {
    put("a", std::string("one\0two", 7));
    LogCapture log;
    EXPECT_THAT(
        load("a"),
        ElementsAre(R"({"response":"load_config","name":"a","config":"one","status":"OK"})"));
    EXPECT_THAT(log.logLines("load_configuration"),
                ElementsAre("[DEBUG] KLV::load_configuration() length: 7",
                            "[DEBUG] KLV::load_configuration() config: one"));
}

TEST_F(ConfigModule, LoadsOnlyRegularFiles) {
    fs::create_directory(path("directory"));
    fs::create_symlink("/dev/zero", path("device"));
    LogCapture log;
    EXPECT_THAT(load("missing"), notLoaded("missing"));
    EXPECT_THAT(log.logLines("load_configuration"),
                ElementsAre("[DEBUG] KLV::load_configuration() Unable to open file"));
    EXPECT_THAT(load("directory"), notLoaded("directory"));
    EXPECT_THAT(load("device"), notLoaded("device"));
}

TEST_F(ConfigModule, SendsAFileThatIsNotTextAsText) {
    put("a", "ok \xff\xfe end");
    load("a");
    EXPECT_EQ("ok \xEF\xBF\xBD\xEF\xBF\xBD end", member("config"));
    EXPECT_EQ("OK", member("status"));
}

TEST_F(ConfigModule, DeletesOnce) {
    put("a", "x");
    LogCapture log;
    EXPECT_THAT(remove("a"), ElementsAre(R"({"response":"delete_config","status":"OK"})"));
    EXPECT_THAT(remove("a"), ElementsAre(kNotDeleted));
    EXPECT_THAT(log.logLines("delete_configuration"),
                ElementsAre("[DEBUG] KLV::delete_configuration() delete_configuration: name: a",
                            "[DEBUG] KLV::delete_configuration() File successfully deleted",
                            "[DEBUG] KLV::delete_configuration() delete_configuration: name: a",
                            "[DEBUG] KLV::delete_configuration() Unable to delete file"));
}

TEST_F(ConfigModule, DeletesEmptyDirectoriesButNoOthers) {
    fs::create_directories(path("empty"));
    fs::create_directories(path("full"));
    put("full/file", "");
    EXPECT_THAT(remove("empty"), ElementsAre(R"({"response":"delete_config","status":"OK"})"));
    EXPECT_THAT(remove("full"), ElementsAre(kNotDeleted));
}

}  // namespace
