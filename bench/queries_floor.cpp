/** @file Reads every fault entry of the data cache once into a map, by bare
 *  calls of LMDB and without any other work: the floor that the queries are
 *  measured against. A round ends when the map is gone, as a query does.
 *
 *  Usage: queries-floor FOLDER COUNT */

#include "turns.hpp"

#include <platform/data_abstraction/fault_entry.hpp>

#include <lmdb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace
{

void check(int result, const char* call)
{
    if (result != MDB_SUCCESS)
    {
        std::fprintf(stderr, "%s: %s\n", call, mdb_strerror(result));
        std::exit(1);
    }
}

template <typename T>
void take(const char*& at, T& value)
{
    std::memcpy(&value, at, sizeof(value));
    at += sizeof(value);
}

void take(const char*& at, std::string& text)
{
    uint32_t size = 0;
    take(at, size);
    text.assign(at, size);
    at += size;
}

void decode(const char* at, FaultEntryProperties& entry)
{
    // The process that the record belongs to: pid and start time.
    at += sizeof(uint32_t) + sizeof(uint64_t);
    uint8_t hidden = 0;
    uint32_t args = 0;
    take(at, entry.timestamp);
    take(at, entry.severity);
    take(at, entry.ledState);
    take(at, hidden);
    entry.hidden = hidden != 0;
    take(at, entry.sensorNumber);
    take(at, entry.sensorType);
    take(at, entry.fqdd);
    take(at, entry.messageID);
    take(at, entry.message);
    take(at, entry.sensorPath);
    take(at, entry.lcdMessage);
    take(at, args);
    entry.args.resize(args);
    for (std::string& arg : entry.args)
    {
        take(at, arg);
    }
}

std::size_t scan(MDB_env* environment, MDB_dbi table)
{
    std::map<std::string, FaultEntryProperties> entries;
    MDB_txn* transaction = nullptr;
    MDB_cursor* cursor = nullptr;
    check(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction),
          "mdb_txn_begin");
    check(mdb_cursor_open(transaction, table, &cursor), "mdb_cursor_open");
    char kind = 'f';
    MDB_val key{1, &kind};
    MDB_val value{};
    int found = mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
    for (; found == MDB_SUCCESS;
         found = mdb_cursor_get(cursor, &key, &value, MDB_NEXT))
    {
        const char* path = static_cast<const char*>(key.mv_data);
        if (*path != kind)
        {
            break;
        }
        const auto entry = entries.try_emplace(
            entries.end(), std::string(path + 1, key.mv_size - 1));
        decode(static_cast<const char*>(value.mv_data), entry->second);
    }
    mdb_cursor_close(cursor);
    mdb_txn_abort(transaction);
    return entries.size();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        return 2;
    }
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    MDB_env* environment = nullptr;
    MDB_txn* transaction = nullptr;
    MDB_dbi table = 0;
    check(mdb_env_create(&environment), "mdb_env_create");
    check(mdb_env_open(environment, argv[1], MDB_RDONLY, 0), "mdb_env_open");
    check(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction),
          "mdb_txn_begin");
    check(mdb_dbi_open(transaction, nullptr, 0, &table), "mdb_dbi_open");
    check(mdb_txn_commit(transaction), "mdb_txn_commit");
    healthintf::bench::takeTurns([&] {
        if (scan(environment, table) != count)
        {
            std::fprintf(stderr, "not all entries were found\n");
            std::exit(1);
        }
    });
    mdb_env_close(environment);
    return 0;
}
