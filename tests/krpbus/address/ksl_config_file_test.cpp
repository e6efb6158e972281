#include "krpbus/address/ksl_config_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

class KslConfigFileTest : public testing::Test {
  protected:
    KslConfigFileTest() {
        std::string name = "/tmp/ksl-config-XXXXXX";
        directory_ = mkdtemp(name.data());
    }
    ~KslConfigFileTest() override { std::filesystem::remove_all(directory_); }

    std::string write(const std::string& content, const std::string& name = "network.xml") const {
        const std::string path = directory_ + "/" + name;
        std::ofstream(path) << content;
        return path;
    }
    const std::string& directory() const { return directory_; }

  private:
    std::string directory_;
};

void expectUnreadable(const KSLConfigFile& file) {
    EXPECT_FALSE(file.isReadable());
    EXPECT_EQ(file.getNetworkName(), "");
    EXPECT_FALSE(file.isEnabled());
    EXPECT_FALSE(file.isActive());
}

TEST_F(KslConfigFileTest, GivesTheNameAndTheSwitches) {
    const KSLConfigFile file(
        write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!-- the fleet -->\n"
              "<ksl>\n  <name> Fleet \xC3\xBC 7 &amp; 8 </name>\n"
              "  <enabled>true</enabled>\n  <active>1</active>\n</ksl>\n"));
    EXPECT_TRUE(file.isReadable());
    EXPECT_EQ(file.getNetworkName(), "Fleet \xC3\xBC 7 & 8");
    EXPECT_TRUE(file.isEnabled());
    EXPECT_TRUE(file.isActive());
}

TEST_F(KslConfigFileTest, HasEachSwitchOffUnlessItSaysTrue) {
    const KSLConfigFile one(write("<ksl><enabled>true</enabled><active>no</active></ksl>"));
    EXPECT_TRUE(one.isReadable());
    EXPECT_TRUE(one.isEnabled());
    EXPECT_FALSE(one.isActive());
    EXPECT_EQ(one.getNetworkName(), "");
    const KSLConfigFile other(write("<ksl><active> true </active><enabled/></ksl>"));
    EXPECT_FALSE(other.isEnabled());
    EXPECT_TRUE(other.isActive());
}

TEST_F(KslConfigFileTest, LooksAtNothingButTheElementsOfTheNetwork) {
    const KSLConfigFile file(
        write("<ksl><logger><name>inner</name></logger>"
              "<name>outer<i>cut</i></name><future/></ksl>"));
    EXPECT_TRUE(file.isReadable());
    EXPECT_EQ(file.getNetworkName(), "outer");
}

TEST_F(KslConfigFileTest, IsUnreadableWhenMissingOrNoFile) {
    expectUnreadable(KSLConfigFile(directory() + "/missing.xml"));
    expectUnreadable(KSLConfigFile(directory()));
    expectUnreadable(KSLConfigFile("/dev/zero"));
    const std::string pipe = directory() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    expectUnreadable(KSLConfigFile(pipe));
}

TEST_F(KslConfigFileTest, IsUnreadableWhenItIsNoConfiguration) {
    for (const char* content :
         {"", "garbage", "<ksl>", "<ksl><name>a</ksl>", "<other><name>a</name></other>",
          "<ksl></ksl><ksl></ksl>", "<ksl>\xFF\xFE</ksl>", "<ksl>&unknown;</ksl>",
          "<?xml version=\"1.0\" encoding=\"no-such\"?><ksl/>"}) {
        SCOPED_TRACE(content);
        expectUnreadable(KSLConfigFile(write(content)));
    }
    expectUnreadable(KSLConfigFile(write(std::string("<ksl>\0</ksl>", 12))));
    expectUnreadable(KSLConfigFile(write("<ksl>" + std::string(2'000'000, ' ') + "</ksl>")));
}

TEST_F(KslConfigFileTest, ReadsNothingThatTheFileRefersTo) {
    const std::string secret = write("secret", "secret.txt");
    const KSLConfigFile entity(write("<!DOCTYPE ksl [<!ENTITY e SYSTEM \"file://" + secret +
                                     "\">]><ksl><name>a&e;b</name></ksl>"));
    EXPECT_EQ(entity.getNetworkName().find("secret"), std::string::npos);
    const KSLConfigFile parameter(write("<!DOCTYPE ksl [<!ENTITY % p SYSTEM \"file://" + secret +
                                        "\"> %p;]><ksl><name>fine</name></ksl>"));
    EXPECT_EQ(parameter.getNetworkName().find("secret"), std::string::npos);
    write("<!ENTITY e \"secret\">", "ksl.dtd");
    const KSLConfigFile dtd(write("<!DOCTYPE ksl SYSTEM \"file://" + directory() +
                                  "/ksl.dtd\"><ksl><name>fine</name></ksl>"));
    EXPECT_TRUE(dtd.isReadable());
    EXPECT_EQ(dtd.getNetworkName(), "fine");
}

TEST_F(KslConfigFileTest, DoesNotBlowUp) {
    std::string content = "<!DOCTYPE ksl [<!ENTITY a0 \"xxxxxxxxxx\">";
    for (int i = 1; i < 12; ++i) {
        const std::string inner = "&a" + std::to_string(i - 1) + ";";
        content += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int repeat = 0; repeat < 10; ++repeat) {
            content += inner;
        }
        content += "\">";
    }
    content += "]><ksl><name>&a11;</name></ksl>";
    expectUnreadable(KSLConfigFile(write(content)));
}

TEST_F(KslConfigFileTest, IsFoundThroughTheEnvironment) {
    const std::string path = write("<ksl><name>there</name></ksl>");
    setenv("KSL_CONFIG_FILE", path.c_str(), 1);
    EXPECT_EQ(KSLConfigFile().getNetworkName(), "there");
    unsetenv("KSL_CONFIG_FILE");
    EXPECT_EQ(KSLConfigFile::defaultPath(), "/var/opt/sandorvale/etc/ksl/network.xml");
    setenv("KSL_CONFIG_FILE", "", 1);
    EXPECT_EQ(KSLConfigFile::defaultPath(), "/var/opt/sandorvale/etc/ksl/network.xml");
}

TEST_F(KslConfigFileTest, CanBeReadByManyThreadsAtOnce) {
    const std::string path = write("<ksl><name>there</name></ksl>");
    std::vector<std::thread> readers;
    for (int i = 0; i < 8; ++i) {
        readers.emplace_back([&path] { EXPECT_EQ(KSLConfigFile(path).getNetworkName(), "there"); });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
}

}  // namespace
