#include "temperature_source.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

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
    const auto sensors = temperatureSensors(folder.path());
    ASSERT_EQ(sensors.size(), 3u);
    EXPECT_EQ(sensors[0].name(), "acpitz/temp1");
    EXPECT_EQ(sensors[1].name(), "coretemp/temp1");
    EXPECT_EQ(sensors[1].label, "Package id 0");
    EXPECT_EQ(sensors[2].name(), "coretemp/temp2");
}

TEST_F(Temperatures, AreInDegrees)
{
    const auto sensors = temperatureSensors(folder.path());
    EXPECT_EQ(degreesCelsius(sensors[0].input), -5);
    EXPECT_EQ(degreesCelsius(sensors[2].input), 51.5);
}

TEST_F(Temperatures, AreMeantByNameLabelOrAll)
{
    const auto sensor = temperatureSensors(folder.path())[1];
    EXPECT_TRUE(sensor.matches("*"));
    EXPECT_TRUE(sensor.matches("coretemp/temp1"));
    EXPECT_TRUE(sensor.matches("coretemp/Package id 0"));
    EXPECT_FALSE(sensor.matches("coretemp/temp2"));
    EXPECT_FALSE(sensor.matches("acpitz/temp1"));
    EXPECT_FALSE(temperatureSensors(folder.path())[0].matches("acpitz/"));
}

TEST_F(Temperatures, AreNoneWhereTheKernelShowsNone)
{
    EXPECT_TRUE(temperatureSensors(folder.path() / "missing").empty());
}

TEST_F(Temperatures, AreAnErrorWhenTheyCannotBeRead)
{
    EXPECT_THROW(degreesCelsius(folder.path() / "missing"), std::runtime_error);
    EXPECT_THROW(degreesCelsius(folder.write("empty", "")), std::runtime_error);
}

} // namespace
} // namespace healthintf::hostmon
