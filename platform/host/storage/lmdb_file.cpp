#include "lmdb_file.hpp"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

namespace healthintf::host
{
namespace
{

// The layout is that of LMDB 0.9, in the machine's own byte order and sizes.

using PageNumber = std::size_t;

constexpr uint32_t magicNumber = 0xBEEFC0DE;
constexpr uint32_t knownVersion = 1;
constexpr PageNumber noPage = ~PageNumber{0};
/** The pages before are the two that hold the roots. */
constexpr PageNumber firstPage = 2;
/** The deepest tree that LMDB's cursors go down. */
constexpr unsigned int maxDepth = 32;

struct Tree
{
    uint32_t pageSize;
    uint16_t flags;
    uint16_t depth;
    PageNumber branchPages;
    PageNumber leafPages;
    PageNumber overflowPages;
    std::size_t entries;
    PageNumber root;
};

struct Roots
{
    uint32_t magic;
    uint32_t version;
    std::size_t address;
    std::size_t mapSize;
    Tree freePages;
    Tree records;
    PageNumber lastPage;
    std::size_t transaction;
};

struct PageHeader
{
    enum : uint16_t
    {
        branch = 0x01,
        leaf = 0x02,
        overflow = 0x04,
        kinds = 0x6F,
    };

    PageNumber number;
    uint16_t pad;
    uint16_t flags;
    /** Where the free room begins and ends, or for overflow pages their
     *  number. */
    uint16_t lower;
    uint16_t upper;
};

struct NodeHeader
{
    enum : uint16_t
    {
        /** The value is in overflow pages; here is the number of the first. */
        bigValue = 0x01,
    };

    /** Of the value; or the low half of the page number in a branch. */
    uint32_t size;
    /** The high half of the page number in a branch. */
    uint16_t flags;
    uint16_t keySize;
};

/** What cannot be so. */
class Unsound : public std::runtime_error
{
  public:
    Unsound() : std::runtime_error("damaged")
    {}
};

void require(bool holds)
{
    if (!holds)
    {
        throw Unsound();
    }
}

std::string_view part(std::string_view bytes, std::size_t offset,
                      std::size_t size)
{
    require(offset <= bytes.size() && size <= bytes.size() - offset);
    return bytes.substr(offset, size);
}

template <typename T>
T read(std::string_view bytes, std::size_t offset)
{
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    std::memcpy(&value, part(bytes, offset, sizeof(T)).data(), sizeof(T));
    return value;
}

/** One look at a whole file. */
class Inspection
{
  public:
    explicit Inspection(std::string_view file) : file(file)
    {}

    /** @throws Unsound */
    void run()
    {
        readRoots();
        seen.resize(roots.lastPage + 1);
        walk(roots.records, false);
        walk(roots.freePages, true);
    }

  private:
    void readRoots()
    {
        // LMDB goes on from the later one of two.
        const auto first = rootsAt(0);
        pageSize = first.freePages.pageSize;
        constexpr std::size_t smallest = 256;
        constexpr std::size_t largest = 32768;
        require(pageSize >= smallest && pageSize <= largest &&
                (pageSize & (pageSize - 1)) == 0);
        const auto second = rootsAt(pageSize);
        require(second.freePages.pageSize == pageSize);
        roots = first.transaction < second.transaction ? second : first;
        require(roots.lastPage >= firstPage - 1 &&
                roots.lastPage < file.size() / pageSize);
    }

    Roots rootsAt(std::size_t offset) const
    {
        const auto found = read<Roots>(file, offset + sizeof(PageHeader));
        require(found.magic == magicNumber && found.version == knownVersion);
        return found;
    }

    /** A page that nothing else may use. */
    std::string_view claim(PageNumber number)
    {
        require(number >= firstPage && number <= roots.lastPage &&
                !seen[number]);
        seen[number] = true;
        return part(file, number * pageSize, pageSize);
    }

    void walk(const Tree& tree, bool ofFreePages)
    {
        if (tree.root == noPage)
        {
            require(tree.entries == 0);
            return;
        }
        require(tree.depth >= 1 && tree.depth <= maxDepth);
        entries = 0;
        walk(tree.root, tree.depth, ofFreePages);
        require(entries == tree.entries);
    }

    void walk(PageNumber number, unsigned int levels, bool ofFreePages)
    {
        const std::string_view page = claim(number);
        const auto header = read<PageHeader>(page, 0);
        const bool isLeaf = levels == 1;
        require(header.number == number &&
                (header.flags & PageHeader::kinds) ==
                    (isLeaf ? PageHeader::leaf : PageHeader::branch));
        require(header.lower >= sizeof(header) &&
                header.lower <= header.upper && header.upper <= pageSize);
        const std::size_t count =
            (header.lower - sizeof(header)) / sizeof(uint16_t);
        require(count >= (isLeaf || ofFreePages ? 1U : 2U));
        for (std::size_t i = 0; i < count; ++i)
        {
            const auto offset =
                read<uint16_t>(page, sizeof(header) + i * sizeof(uint16_t));
            require(offset >= header.upper);
            const auto node = read<NodeHeader>(page, offset);
            const std::string_view rest =
                page.substr(offset + sizeof(NodeHeader));
            part(rest, 0, node.keySize);
            if (isLeaf)
            {
                inspect(node, rest.substr(node.keySize), ofFreePages);
            }
            else
            {
                walk(childOf(node), levels - 1, ofFreePages);
            }
        }
    }

    static PageNumber childOf(const NodeHeader& node)
    {
        constexpr unsigned int half = 16;
        PageNumber number = node.size;
        if constexpr (sizeof(PageNumber) > sizeof(node.size))
        {
            number |= static_cast<PageNumber>(node.flags) << half << half;
        }
        return number;
    }

    void inspect(const NodeHeader& node, std::string_view rest,
                 bool ofFreePages)
    {
        ++entries;
        require((node.flags & ~unsigned{NodeHeader::bigValue}) == 0);
        const std::string_view value =
            node.flags == 0 ? part(rest, 0, node.size)
                            : bigValue(read<PageNumber>(rest, 0), node.size);
        if (ofFreePages)
        {
            require(node.keySize == sizeof(roots.transaction));
            claimAll(value);
        }
        else
        {
            require(node.keySize >= 1 && node.keySize <= longestKey);
        }
    }

    std::string_view bigValue(PageNumber first, std::size_t size)
    {
        const std::string_view page = claim(first);
        const auto header = read<PageHeader>(page, 0);
        require(header.number == first &&
                (header.flags & PageHeader::kinds) == PageHeader::overflow);
        const auto pages =
            read<uint32_t>(page, sizeof(PageHeader) - sizeof(uint32_t));
        for (uint32_t i = 1; i < pages; ++i)
        {
            claim(first + i);
        }
        const auto all = part(file, first * pageSize, pages * pageSize);
        return part(all, sizeof(PageHeader), size);
    }

    /** The pages of a list that begins with its length. */
    void claimAll(std::string_view list)
    {
        const auto count = read<PageNumber>(list, 0);
        require(count < list.size() / sizeof(PageNumber));
        for (std::size_t i = 1; i <= count; ++i)
        {
            claim(read<PageNumber>(list, i * sizeof(PageNumber)));
        }
    }

    static constexpr std::size_t longestKey = 511;

    std::string_view file;
    std::size_t pageSize = 0;
    Roots roots{};
    std::vector<bool> seen;
    std::size_t entries = 0;
};

std::string contentOf(const std::filesystem::path& name)
{
    std::ifstream stream(name, std::ios::binary);
    if (!stream)
    {
        throw std::system_error(errno, std::generic_category(), name.string());
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

/** Whether this is a file of LMDB in a format that is not known here. */
bool isForeign(std::string_view file)
{
    return file.size() >= sizeof(PageHeader) + sizeof(Roots) &&
           read<uint32_t>(file, sizeof(PageHeader)) == magicNumber &&
           read<uint32_t>(file, sizeof(PageHeader) + sizeof(uint32_t)) !=
               knownVersion;
}

} // namespace

bool isSound(const std::filesystem::path& dataFile)
{
    const std::string file = contentOf(dataFile);
    if (file.empty() || isForeign(file))
    {
        return true;
    }
    try
    {
        Inspection(file).run();
        return true;
    }
    catch (const Unsound&)
    {
        return false;
    }
}

} // namespace healthintf::host
