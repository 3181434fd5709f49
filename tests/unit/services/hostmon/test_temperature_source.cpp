// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "no_more_descriptors.hpp"
#include "temperature_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace healthintf::hostmon
{
namespace
{

class Temperatures : public testing::Test
{
  protected:
    Temperatures()
    {
        folder.write("hwmon1/name", "coretemp\n");
        folder.write("hwmon1/temp2_input", "51500\n");
        folder.write("hwmon1/temp1_input", "48000\n");
        folder.write("hwmon1/temp1_label", "Package id 0\n");
        folder.write("hwmon1/temp1_max", "100000\n");
        folder.write("hwmon1/fan1_input", "900\n");
        folder.write("hwmon0/name", "acpitz\n");
        folder.write("hwmon0/temp1_input", "-5000\n");
    }

    test::TemporaryFolder folder;
};

TEST_F(Temperatures, AreFoundInTheOrderOfTheirNames)
{
    const auto sensors = listTemperatureSensors(folder.path());
    ASSERT_EQ(sensors.size(), 3u);
    EXPECT_EQ(sensors[0].name(), "acpitz/temp1");
    EXPECT_EQ(sensors[1].name(), "coretemp/temp1");
    EXPECT_EQ(sensors[1].label, "Package id 0");
    EXPECT_EQ(sensors[2].name(), "coretemp/temp2");
}

TEST_F(Temperatures, AreNamedByTextsThatAreValidInAFault)
{
    folder.write("hwmon0/name", "a\xff\x1b[31m\n");
    const auto sensor = listTemperatureSensors(folder.path())[0];
    EXPECT_EQ(sensor.displayName(), "a?\\x1b[31m/temp1 (hwmon0)");
    EXPECT_TRUE(sensor.matches("a\xff\x1b[31m/temp1"));
}

TEST_F(Temperatures, AreAnErrorWhenTheyCannotBeListed)
{
    if (test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    const test::NoMoreDescriptors shortage;
    EXPECT_THROW(listTemperatureSensors(folder.path()), std::system_error);
}

TEST_F(Temperatures, AreNoneWhereThereIsNoFolder)
{
    EXPECT_EQ(listTemperatureSensors(folder.path() / "missing").size(), 0u);
}

TEST_F(Temperatures, AreInDegrees)
{
    const auto sensors = listTemperatureSensors(folder.path());
    EXPECT_EQ(readDegreesCelsius(sensors[0].input), -5);
    EXPECT_EQ(readDegreesCelsius(sensors[2].input), 51.5);
}

TEST_F(Temperatures, AreSelectedByNameLabelOrWildcard)
{
    const auto sensor = listTemperatureSensors(folder.path())[1];
    EXPECT_TRUE(sensor.matches("*"));
    EXPECT_TRUE(sensor.matches("coretemp/temp1"));
    EXPECT_TRUE(sensor.matches("coretemp/Package id 0"));
    EXPECT_FALSE(sensor.matches("coretemp/temp2"));
    EXPECT_FALSE(sensor.matches("acpitz/temp1"));
    EXPECT_FALSE(listTemperatureSensors(folder.path())[0].matches("acpitz/"));
}

/** A folder that looks like /sys, with devices and links to them. */
class TemperaturesOfDevices : public testing::Test
{
  protected:
    /** Creates a chip with one sensor below @p device; @p between are folders
     *  with numbers that the kernel chooses. */
    void chip(const std::string& name, const std::string& device,
              const std::string& between, const std::string& number,
              int millidegrees) const
    {
        namespace fs = std::filesystem;
        const fs::path devices = folder.path() / "devices";
        const fs::path parent = devices / device / between;
        const fs::path place = parent / number;
        folder.write(fs::path("devices") / device / between / number / "name",
                     name + "\n");
        folder.write(place / "temp1_input", std::to_string(millidegrees));
        fs::create_directories(folder.path() / "bus/some");
        fs::create_directories(folder.path() / "class/hwmon");
        link(folder.path() / "bus/some", devices / device / "subsystem");
        link(parent, place / "device");
        link(place, folder.path() / "class/hwmon" / number);
    }

    static void link(const std::filesystem::path& to,
                     const std::filesystem::path& from)
    {
        if (!std::filesystem::is_symlink(from))
        {
            std::filesystem::create_symlink(to, from);
        }
    }

    auto sensors() const
    {
        return listTemperatureSensors(folder.path() / "class/hwmon");
    }

    test::TemporaryFolder folder;
};

TEST_F(TemperaturesOfDevices, OfOneNameAreDistinguishedByTheirDevices)
{
    chip("nvme", "pci0/0000:01:00.0", "nvme/nvme0", "hwmon1", 40000);
    chip("nvme", "pci0/0000:02:00.0", "nvme/nvme1", "hwmon2", 50000);
    const auto found = sensors();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].id(), "pci0/0000:01:00.0/nvme/temp1");
    EXPECT_EQ(found[1].id(), "pci0/0000:02:00.0/nvme/temp1");
    EXPECT_EQ(found[0].displayName(), "nvme/temp1 (0000:01:00.0)");
    EXPECT_EQ(found[1].displayName(), "nvme/temp1 (0000:02:00.0)");
    EXPECT_TRUE(found[1].matches("nvme/temp1"));
    EXPECT_TRUE(found[1].matches("nvme/temp1 (0000:02:00.0)"));
    EXPECT_FALSE(found[1].matches("nvme/temp1 (0000:01:00.0)"));
}

TEST_F(TemperaturesOfDevices, KeepTheirIdsWhenChipsAreRenumbered)
{
    chip("nvme", "pci0/0000:02:00.0", "nvme/nvme0", "hwmon1", 50000);
    const auto found = sensors();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].id(), "pci0/0000:02:00.0/nvme/temp1");
}

TEST_F(TemperaturesOfDevices, AreNotReadFromTheChipThatGetsTheNumber)
{
    chip("nvme", "pci0/0000:01:00.0", "nvme/nvme0", "hwmon1", 40000);
    const auto before = sensors();
    std::filesystem::remove(folder.path() / "class/hwmon/hwmon1");
    std::filesystem::remove_all(folder.path() / "devices/pci0/0000:01:00.0");
    chip("nvme", "pci0/0000:02:00.0", "nvme/nvme1", "hwmon1", 97000);
    EXPECT_THROW(readDegreesCelsius(before.at(0).input), std::runtime_error);
}

TEST_F(TemperaturesOfDevices, OfOneNameOnOneDeviceAreDistinguished)
{
    chip("phy", "pci0/0000:01:00.0", "net/eth0", "hwmon1", 40000);
    chip("phy", "pci0/0000:01:00.0", "net/eth1", "hwmon2", 50000);
    const auto found = sensors();
    ASSERT_EQ(found.size(), 2u);
    EXPECT_NE(found[0].id(), found[1].id());
}

TEST_F(Temperatures, AreNoneWhereTheKernelShowsNone)
{
    EXPECT_TRUE(listTemperatureSensors(folder.path() / "missing").empty());
}

TEST_F(Temperatures, AreAnErrorWhenTheyCannotBeRead)
{
    EXPECT_THROW(readDegreesCelsius(folder.path() / "missing"),
                 std::runtime_error);
    EXPECT_THROW(readDegreesCelsius(folder.write("empty", "")),
                 std::runtime_error);
}

} // namespace
} // namespace healthintf::hostmon
