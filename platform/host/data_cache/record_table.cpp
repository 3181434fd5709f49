#include "record_table.hpp"

#include "../host_log.hpp"
#include "byte_codec.hpp"
#include "limits.hpp"

#include <platform/data_abstraction/results.hpp>

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace healthintf::host
{
namespace
{

/** Bytes of a record before its payload: the owner. */
constexpr std::size_t headerSize = sizeof(uint32_t) + sizeof(uint64_t);

/** This process. Asked for anew after fork(). */
const ProcessIdentity& self()
{
    static thread_local ProcessIdentity identity;
    if (identity.pid != static_cast<uint32_t>(getpid()))
    {
        identity = ProcessIdentity::self();
    }
    return identity;
}

/** Where a record stands: its kind, then its path, so that records of a kind
 *  stand together in the order of their paths. */
class Key
{
  public:
    /** @throws LmdbError when the path is too long for a key */
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): see bytes
    Key(RecordKind kind, std::string_view path) : size(1 + path.size())
    {
        if (path.size() > maxRecordPath)
        {
            throw LmdbError("path of a record", MDB_BAD_VALSIZE);
        }
        bytes[0] = static_cast<char>(kind);
        path.copy(bytes.data() + 1, path.size());
    }

    std::string_view text() const
    {
        return {bytes.data(), size};
    }

    /** The key for LMDB; valid as long as this object. */
    MDB_val value() &
    {
        return {size, bytes.data()};
    }

  private:
    std::size_t size;
    // Written as far as it is read.
    std::array<char, 1 + maxRecordPath> bytes;
};

/** Writes owner and payload into the room that LMDB gives for a record. */
void writeRecord(const MDB_val& room, std::string_view payload)
{
    auto* at = static_cast<char*>(room.mv_data);
    const ProcessIdentity& owner = self();
    std::memcpy(at, &owner.pid, sizeof(owner.pid));
    std::memcpy(at + sizeof(owner.pid), &owner.startTime,
                sizeof(owner.startTime));
    payload.copy(at + headerSize, payload.size());
}

/** Changes a record where it stands when that takes no more than one of its
 *  live bytes, as a change of health does.
 *
 *  This spares the way up the tree LMDB's copies of pages, at the price of
 *  going behind its back. It may be done because the write transaction keeps
 *  other writers away, and because a reader, which takes each of these bytes at
 *  once, finds it as it was or as it is, and a whole record either way.
 *
 *  @return whether nothing is left to be changed */
bool changedInPlace(const Environment& cache, RecordKind kind,
                    std::string_view record, std::string_view payload)
{
    const std::string_view before = record.substr(headerSize);
    if (before.size() != payload.size())
    {
        return false;
    }
    std::size_t at = 0;
    while (at < payload.size() && payload[at] == before[at])
    {
        ++at;
    }
    if (at == payload.size())
    {
        return true;
    }
    const auto [begin, end] = liveBytes(kind);
    if (at < begin || at >= end ||
        payload.substr(at + 1) != before.substr(at + 1))
    {
        return false;
    }
    return cache.changeByte(before[at], payload[at]);
}

/** Moves a cursor to a record of this process.
 *
 *  @return 0, ENOENT or EPERM */
int findOwn(Cursor& cursor, Key& key)
{
    if (!cursor.find(key.value()))
    {
        return ENOENT;
    }
    return parseRecord(cursor.value()).owner == self() ? 0 : EPERM;
}

void tellChangedInVain(const std::string& path)
{
    HOST_LOG(log::warning,
             "%s.%d.%s: %s was changed in vain: another process holds this key "
             "now",
             path.c_str());
}

std::atomic<bool> standsBack{false};

/** Whether another living process has a record there. */
bool isTaken(const Environment& cache, const Transaction& transaction, Key& key)
{
    Cursor cursor(transaction.get(), cache.table());
    if (findOwn(cursor, key) != EPERM)
    {
        return false;
    }
    return parseRecord(cursor.value()).owner.alive();
}

using Visit = std::function<void(std::string_view, const StoredRecord&)>;

void visitRecord(const Cursor& cursor, const Visit& visit)
{
    const std::string_view path = cursor.key().substr(1);
    try
    {
        visit(path, parseRecord(cursor.value()));
    }
    catch (const std::out_of_range& e)
    {
        HOST_LOG(log::warning, "%s.%d.%s: the record of %s was left out: %s",
                 std::string(path).c_str(), e.what());
    }
}

/** Visits the records whose keys begin with @p start.
 *
 *  @return whether there was one */
bool visitAll(Cursor& cursor, const Key& start, const Visit& visit)
{
    bool any = false;
    for (bool more = cursor.seek(start.text());
         more && cursor.key().starts_with(start.text()); more = cursor.next())
    {
        visitRecord(cursor, visit);
        any = true;
    }
    return any;
}

/** Visits the record of a key, if there is one. */
void visitOne(Cursor& cursor, Key&& key, const Visit& visit)
{
    if (cursor.find(key.value()))
    {
        visitRecord(cursor, visit);
    }
}

/** Whether there is no record of a kind. */
bool noneOfKind(Cursor& cursor, RecordKind kind)
{
    const Key start(kind, "");
    return !cursor.seek(start.text()) ||
           !cursor.key().starts_with(start.text());
}

} // namespace

StoredRecord parseRecord(std::string_view value)
{
    ByteReader reader(value);
    StoredRecord record;
    record.owner.pid = reader.get<uint32_t>();
    record.owner.startTime = reader.get<uint64_t>();
    record.payload = value.substr(headerSize);
    return record;
}

void standBack()
{
    standsBack = true;
}

int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload)
{
    return writeCache([&](Environment& cache, const Transaction& transaction) {
        Key at(kind, path);
        if (standsBack && isTaken(cache, transaction, at))
        {
            return EEXIST;
        }
        putRecord(cache, transaction, kind, path, payload);
        return 0;
    });
}

void putRecord(Environment& cache, const Transaction& transaction,
               RecordKind kind, const std::string& path,
               std::string_view payload)
{
    cache.makeRoomForRecord(transaction, headerSize + payload.size());
    Key at(kind, path);
    MDB_val key = at.value();
    MDB_val room{headerSize + payload.size(), nullptr};
    checkLmdb("mdb_put", mdb_put(transaction.get(), cache.table(), &key, &room,
                                 MDB_RESERVE));
    writeRecord(room, payload);
}

int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit)
{
    return writeCache([&](Environment& cache, const Transaction& transaction) {
        Key key(kind, path);
        Cursor cursor(transaction.get(), cache.table());
        int result = findOwn(cursor, key);
        if (result == EPERM)
        {
            tellChangedInVain(path);
        }
        if (result != 0)
        {
            return result;
        }
        std::string payload(parseRecord(cursor.value()).payload);
        result = edit(payload);
        if (result == 0 &&
            !changedInPlace(cache, kind, cursor.value(), payload))
        {
            cache.makeRoomForChange(headerSize + payload.size());
            writeRecord(cursor.replace(headerSize + payload.size()), payload);
        }
        return result;
    });
}

int removeRecord(RecordKind kind, const std::string& path)
{
    return writeCache(
        [&](const Environment& cache, const Transaction& transaction) {
            Key key(kind, path);
            Cursor cursor(transaction.get(), cache.table());
            const int result = findOwn(cursor, key);
            if (result == 0)
            {
                cursor.remove();
            }
            return result;
        });
}

long readRecords(RecordKind kind, const std::vector<std::string>& prefixes,
                 const Visit& visit, Wanted wanted)
{
    return readCache(
        [&](const Environment& cache, const Transaction& transaction) -> int {
            Cursor cursor(transaction.get(), cache.table());
            if (noneOfKind(cursor, kind))
            {
                return DataAbstraction::readNoRecords;
            }
            if (prefixes.empty())
            {
                visitAll(cursor, Key(kind, ""), visit);
            }
            const auto longest =
                static_cast<std::size_t>(mdb_env_get_maxkeysize(cache.get()));
            for (const std::string& prefix : prefixes)
            {
                if (prefix.size() >= longest)
                {
                    continue;
                }
                if (wanted == Wanted::wholePaths)
                {
                    visitOne(cursor, Key(kind, prefix), visit);
                }
                else
                {
                    visitAll(cursor, Key(kind, prefix), visit);
                }
            }
            return DataAbstraction::readOk;
        });
}

void removeRecords(const Environment& cache, const Transaction& transaction,
                   RecordKind kind, const std::string& prefix,
                   const std::function<bool(std::string_view path,
                                            std::string_view value)>& unwanted)
{
    Cursor cursor(transaction.get(), cache.table());
    const Key start(kind, prefix);
    for (bool more = cursor.seek(start.text());
         more && cursor.key().starts_with(start.text()); more = cursor.next())
    {
        if (unwanted(cursor.key().substr(1), cursor.value()))
        {
            cursor.remove();
        }
    }
}

} // namespace healthintf::host
