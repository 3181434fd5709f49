// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/slot.hpp>

#include <utility>
#include <vector>

namespace sdbusplus::details
{
namespace
{

/** Notes which slots are dropped. */
struct Seam : SdBusImpl
{
    std::vector<sd_bus_slot*> dropped;

    sd_bus_slot* sd_bus_slot_unref(sd_bus_slot* slot) override
    {
        dropped.push_back(slot);
        return SdBusImpl::sd_bus_slot_unref(slot);
    }
};

class OwnedSlot : public testing::Test
{
  protected:
    /** A slot that stands for a count of the signals heard. */
    Slot counting()
    {
        sd_bus_slot* slot = nullptr;
        const auto count = [](sd_bus_message*, void* context, sd_bus_error*) {
            ++*static_cast<int*>(context);
            return 0;
        };
        sd_bus_add_match(bus::details::bus_friend::get_busp(peers.near), &slot,
                         "type='signal',member='Told'", count, &heard);
        return {slot, {&seam}};
    }

    void tell()
    {
        peers.far.new_signal("/a", "com.example", "Told").signal_send();
        peers.settle();
    }

    test::Peers peers;
    Seam seam;
    int heard = 0;
};

TEST_F(OwnedSlot, StandsForItsSubjectUntilItEnds)
{
    Slot slot = counting();
    sd_bus_slot* const raw = slot.get();
    tell();
    EXPECT_EQ(heard, 1);
    slot.reset();
    tell();
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(seam.dropped, std::vector<sd_bus_slot*>{raw});
}

TEST_F(OwnedSlot, IsDroppedOnceWhenItWasMoved)
{
    {
        Slot first = counting();
        const Slot second = std::move(first);
        first.reset();
        tell();
        EXPECT_EQ(heard, 1);
    }
    EXPECT_EQ(seam.dropped.size(), 1u);
}

TEST_F(OwnedSlot, HasNothingToDropWhenItIsEmpty)
{
    {
        const Slot empty;
        const Slot withSeam(nullptr, {&seam});
    }
    EXPECT_TRUE(seam.dropped.empty());
}

} // namespace
} // namespace sdbusplus::details
