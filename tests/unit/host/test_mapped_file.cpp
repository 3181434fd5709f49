#include "storage/files.hpp"
#include "storage/mapped_file.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <unistd.h>

namespace healthintf::host
{
namespace
{

TEST(OffsetInFile, IsThatOfTheByteWhichAnAddressShows)
{
    test::TemporaryFolder folder;
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    folder.write("file", std::string(3 * page, 'x'));
    const FileDescriptor file = openFile(folder.path() / "file");
    // The second and the third page.
    void* map = mmap(nullptr, 2 * page, PROT_READ, MAP_SHARED, file.get(),
                     static_cast<off_t>(page));
    ASSERT_NE(map, MAP_FAILED);
    const auto* bytes = static_cast<const char*>(map);

    const auto offset = offsetInFile(bytes + page + 7);

    ASSERT_TRUE(offset.has_value());
    EXPECT_EQ(*offset, 2 * page + 7);
    ASSERT_EQ(pwrite(file.get(), "y", 1, static_cast<off_t>(*offset)), 1);
    EXPECT_EQ(bytes[page + 7], 'y');
    munmap(map, 2 * page);
}

TEST(OffsetInFile, IsNoneForWhatIsInNoFile)
{
    const int onTheStack = 0;
    EXPECT_FALSE(offsetInFile(&onTheStack).has_value());
    EXPECT_FALSE(offsetInFile(nullptr).has_value());
}

} // namespace
} // namespace healthintf::host
