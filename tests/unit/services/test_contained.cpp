#include "common/contained.hpp"
#include "library_test.hpp"

#include <sdbusplus/bus/match.hpp>

#include <stdexcept>

namespace healthintf::services
{
namespace
{

using namespace healthintf::test;

class ContainedHandler : public LibraryTest
{
  protected:
    void tell(uint32_t number)
    {
        connection.signal("/a", "com.example", "Told", "u", number);
    }

    std::vector<uint32_t> heard;
    /** Throws for the number 1, reads too much for the number 2. */
    sdbusplus::bus::match_t match{
        bus, "type='signal',member='Told'",
        contained([this](sdbusplus::message_t& message) {
            uint32_t number = 0;
            message.read(number);
            heard.push_back(number);
            if (number == 1)
            {
                throw std::runtime_error("broken");
            }
            if (number == 2)
            {
                message.read(number);
            }
        })};
};

TEST_F(ContainedHandler, IsGivenItsMessages)
{
    tell(7);
    tell(8);
    EXPECT_EQ(heard, (std::vector<uint32_t>{7, 8}));
    EXPECT_EQ(journal().count("log "), 0u);
}

TEST_F(ContainedHandler, LosesOnlyTheMessageForWhichItThrows)
{
    journal().clear();
    for (uint32_t number = 0; number < 4; ++number)
    {
        tell(number);
    }
    EXPECT_EQ(heard, (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(journal().take("log "),
              (Lines{"log 2 310 EXCEPTION contained.#.operator(): broken",
                     "log 2 310 EXCEPTION contained.#.operator(): "
                     "sd_bus_message_read_basic fundamental: "
                     "System.Error.ENXIO: No such device or address"}));
}

} // namespace
} // namespace healthintf::services
