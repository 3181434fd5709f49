#include "cache_test.hpp"
#include "data_cache/cache_fill.hpp"
#include "data_cache/environment.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

namespace healthintf::host
{
namespace
{

using test::inChild;

class CacheFillOf : public test::CacheTest
{
  protected:
    static bool put(int number, const std::string& text = "")
    {
        return datacache_faultentry_create("/fill/" + std::to_string(number),
                                           {{"Message", text}}) == 0;
    }
};

TEST_F(CacheFillOf, ANewCacheIsNearlyNothingOfTheUsualCapacity)
{
    EXPECT_EQ(inChild([] {
                  const auto fill = cacheFill();
                  return fill &&
                                 fill->capacity ==
                                     Environment::defaultCapacity &&
                                 fill->used > 0 && fill->used < 65536
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(CacheFillOf, GrowsByWhatIsPutIntoIt)
{
    EXPECT_EQ(inChild([] {
                  const uint64_t before = cacheFill()->used;
                  const std::string text(100'000, 'x');
                  if (!put(1, text))
                  {
                      return 2;
                  }
                  const uint64_t grown = cacheFill()->used - before;
                  return grown >= text.size() && grown < 2 * text.size() ? 0
                                                                         : 1;
              }),
              0);
}

TEST_F(CacheFillOf, ShrinksWhenRecordsGo)
{
    EXPECT_EQ(inChild([] {
                  put(1, std::string(100'000, 'x'));
                  const uint64_t full = cacheFill()->used;
                  datacache_faultentry_remove("/fill/1");
                  return cacheFill()->used + 90'000 < full ? 0 : 1;
              }),
              0);
}

TEST_F(CacheFillOf, ReachesTheCapacityWhereRecordsAreRefused)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    EXPECT_EQ(inChild([] {
                  int number = 0;
                  while (put(number, std::string(2000, 'x')))
                  {
                      ++number;
                  }
                  const auto fill = cacheFill();
                  return fill->capacity == 1U << 20 &&
                                 fill->used > fill->capacity / 10 * 9 &&
                                 fill->used < fill->capacity / 10 * 11
                             ? 0
                             : 1;
              }),
              0);
    unsetenv("HEALTHINTF_CACHE_MIB");
}

TEST_F(CacheFillOf, IsNotToldOfACacheThatCannotBeOpened)
{
    folder.write("datacache", "no folder");
    EXPECT_EQ(inChild([] {
                  return cacheFill() ? 1 : 0;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
