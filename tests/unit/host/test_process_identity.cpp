// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/process_identity.hpp"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <unistd.h>

#include <stdexcept>
#include <string>

namespace healthintf::host
{
namespace
{

using test::inChild;

TEST(ProcessIdentityOfAProcess, IsItsIdAndStart)
{
    const ProcessIdentity self = ProcessIdentity::self();
    EXPECT_EQ(self.pid, static_cast<uint32_t>(getpid()));
    EXPECT_GT(self.startTime, 0u);
    EXPECT_EQ(ProcessIdentity::self(), self);
}

TEST(ProcessIdentityOfAProcess, IsReadWhateverItsName)
{
    EXPECT_EQ(inChild([] {
                  const ProcessIdentity self = ProcessIdentity::self();
                  prctl(PR_SET_NAME, "a) Z (b 1");
                  return ProcessIdentity::self() == self ? 0 : 1;
              }),
              0);
}

TEST(ProcessIdentityOfAProcess, IsNotThatOfItsChild)
{
    const ProcessIdentity parent = ProcessIdentity::self();
    EXPECT_EQ(inChild([&parent] {
                  const ProcessIdentity self = ProcessIdentity::self();
                  return self.pid != parent.pid &&
                                 self.startTime >= parent.startTime
                             ? 0
                             : 1;
              }),
              0);
}

TEST(NameOfAProcess, IsWhatTheKernelKeeps)
{
    EXPECT_EQ(inChild([] {
                  prctl(PR_SET_NAME, "fan-daemon");
                  return std::string(ownProcessName().data()) == "fan-daemon"
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(inChild([] {
                  prctl(PR_SET_NAME, "a name of sixteen");
                  return std::string(ownProcessName().data()) ==
                                 "a name of sixte"
                             ? 0
                             : 1;
              }),
              0);
}

TEST(NameOfAProcess, IsEmptyWithoutAFileDescriptor)
{
    EXPECT_EQ(inChild([] {
                  rlimit usual{};
                  getrlimit(RLIMIT_NOFILE, &usual);
                  const rlimit none{0, usual.rlim_max};
                  setrlimit(RLIMIT_NOFILE, &none);
                  return ownProcessName() == ProcessName{} ? 0 : 1;
              }),
              0);
}

TEST(ProcessIdentityOfAProcess, CannotBeReadWithoutAFileDescriptor)
{
    EXPECT_EQ(inChild([] {
                  rlimit usual{};
                  getrlimit(RLIMIT_NOFILE, &usual);
                  const rlimit none{0, usual.rlim_max};
                  setrlimit(RLIMIT_NOFILE, &none);
                  try
                  {
                      ProcessIdentity::self();
                  }
                  catch (const std::runtime_error& e)
                  {
                      // The sanitizer needs a file descriptor to handle the
                      // exception.
                      setrlimit(RLIMIT_NOFILE, &usual);
                      return std::string(e.what()) ==
                                     "unable to read /proc/self/stat"
                                 ? 0
                                 : 1;
                  }
                  return 2;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
