#include "desk/sources/this_machine.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>

#include "tests/kit/temporary_directory.h"

using desk::describeThisMachine;
using desk::findTimeZone;

namespace {

TEST(FindTimeZone, TakesTheEnvironmentFirst) {
    const TemporaryDirectory root;
    root.write("etc/timezone", "Europe/Paris\n");
    EXPECT_EQ(findTimeZone("Asia/Tokyo", root.path()), "Asia/Tokyo");
    EXPECT_EQ(findTimeZone(":Asia/Tokyo", root.path()), "Asia/Tokyo");
    EXPECT_EQ(findTimeZone(":/usr/share/zoneinfo/Asia/Tokyo", root.path()), "Asia/Tokyo");
}

TEST(FindTimeZone, TakesTheFileWhenTheEnvironmentNamesNone) {
    const TemporaryDirectory root;
    root.write("etc/timezone", "  Europe/Paris \n");
    EXPECT_EQ(findTimeZone(nullptr, root.path()), "Europe/Paris");
    EXPECT_EQ(findTimeZone("", root.path()), "Europe/Paris");
}

TEST(FindTimeZone, TakesTheLinkWhenThereIsNoFile) {
    const TemporaryDirectory root;
    root.write("etc/other", "");
    std::filesystem::create_symlink("/usr/share/zoneinfo/America/New_York",
                                    root.path() / "etc/localtime");
    EXPECT_EQ(findTimeZone(nullptr, root.path()), "America/New_York");
}

TEST(FindTimeZone, IsUtcWhereNothingSaysOtherwise) {
    const TemporaryDirectory root;
    EXPECT_EQ(findTimeZone(nullptr, root.path()), "UTC");
}

TEST(DescribeThisMachine, ReadsTheFilesOfTheSystem) {
    const TemporaryDirectory root;
    root.write("etc/os-release", "NAME=\"Desk\"\nPRETTY_NAME=\"Desk OS 7 (oak)\"\n");
    root.write("etc/timezone", "Europe/Paris\n");
    root.write("sys/class/dmi/id/product_name", "Workbench 3000\n");
    unsetenv("TZ");
    const auto machine = describeThisMachine(root.path());
    EXPECT_EQ(machine.operatingSystem, "Desk OS 7 (oak)");
    EXPECT_EQ(machine.timeZone, "Europe/Paris");
    EXPECT_EQ(machine.hardware, "Workbench 3000");
}

TEST(DescribeThisMachine, AsksTheKernelForTheRest) {
    utsname kernel{};
    ASSERT_EQ(uname(&kernel), 0);
    const TemporaryDirectory root;
    const auto machine = describeThisMachine(root.path());
    EXPECT_EQ(machine.hostName, kernel.nodename);
    EXPECT_EQ(machine.kernel, std::string("Linux ") + kernel.release);
    EXPECT_EQ(machine.operatingSystem, machine.kernel);
    EXPECT_EQ(machine.hardware, kernel.machine);
}

}  // namespace
