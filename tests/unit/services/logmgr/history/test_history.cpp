// SPDX-License-Identifier: Apache-2.0
#include "common/event_loop.hpp"
#include "logmgr/history/history.hpp"
#include "logmgr/history/history_store.hpp"
#include "sample_records.hpp"
#include "temporary_folder.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <memory>

namespace healthintf::history
{
namespace
{

/** Makes each write to a file fail, as a full disk does. */
class FullDisk
{
  public:
    FullDisk()
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit none = before;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }

    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &before);
    }

    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before{};
};

/** A process has one data cache in its life, so all tests share it. */
const test::TemporaryFolder& cacheFolder()
{
    static const test::TemporaryFolder folder;
    setenv("HEALTHINTF_RUNTIME_DIR", folder.path().c_str(), 1);
    return folder;
}

/** A history of a component with a fault, whose event loop has ended before the
 *  fault was written. There is no bus. */
class HistoryAtItsEnd : public testing::Test
{
  protected:
    HistoryAtItsEnd()
    {
        cacheFolder();
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        datacache_healthstatus_create(fan, {});
        datacache_faultentry_create(makeFault().entry, {});
        history = std::make_unique<History>(loop, place, HistoryLimits{});
        loop.exit(0);
        loop.run();
    }

    ~HistoryAtItsEnd() override
    {
        datacache_faultentry_remove(makeFault().entry);
        datacache_healthstatus_remove(fan);
    }

    std::size_t countRecords() const
    {
        return HistoryStore(place, {}).records();
    }

    test::TemporaryFolder folder;
    std::filesystem::path place = folder.path() / "history";
    services::EventLoop loop;
    std::unique_ptr<History> history;
};

TEST_F(HistoryAtItsEnd, WritesWhatIsLeft)
{
    history.reset();
    EXPECT_EQ(countRecords(), 1U);
}

TEST_F(HistoryAtItsEnd, EndsWhenWhatIsLeftCannotBeWritten)
{
    {
        const FullDisk disk;
        history.reset();
    }
    EXPECT_EQ(countRecords(), 0U);
}

} // namespace
} // namespace healthintf::history
