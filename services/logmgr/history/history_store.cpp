// SPDX-License-Identifier: Apache-2.0
#include "history_store.hpp"

#include "../../common/service_log.hpp"
#include "history_rows.hpp"
#include "storage/files.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::history
{

namespace fs = std::filesystem;
namespace log = services::log;

namespace
{

constexpr uint64_t pageSize = 4096;

/** The most bytes of texts in a page. */
constexpr std::size_t mostOfPage = 1UL << 20;

/** What SQLite keeps beside a database while it is open. */
constexpr std::array companions{"-wal", "-shm"};

/** How many records of operators are remembered. healthmgr keeps some hundred
 *  silences and acknowledgements. */
constexpr int64_t mostRemembered = 4096;

/** The number of the layout, which is SQLite's user_version; that of a new
 *  database is 0. */
constexpr int64_t layoutVersion = 1;

constexpr const char* layout = R"(
PRAGMA page_size = 4096;
PRAGMA journal_mode = WAL;
PRAGMA synchronous = NORMAL;
PRAGMA wal_autocheckpoint = 0;
PRAGMA journal_size_limit = 1048576;
PRAGMA cache_size = -1024;
PRAGMA trusted_schema = OFF;
CREATE TABLE IF NOT EXISTS records (
    sequence INTEGER PRIMARY KEY, time INTEGER, kind INTEGER,
    component TEXT, entry TEXT, message_id TEXT, args TEXT, message TEXT,
    severity INTEGER, sensor_path TEXT, sensor_number INTEGER,
    sensor_type INTEGER, process TEXT, pid INTEGER, user INTEGER,
    lasted INTEGER, occurrence INTEGER, missed INTEGER, comment TEXT,
    identity INTEGER);
CREATE INDEX IF NOT EXISTS by_component ON records (component, sequence);
CREATE INDEX IF NOT EXISTS by_user ON records (user, sequence);
CREATE INDEX IF NOT EXISTS by_occurrence ON records (identity, occurrence);
CREATE TABLE IF NOT EXISTS followed (
    sequence INTEGER PRIMARY KEY, hidden INTEGER, process_start INTEGER);
CREATE TABLE IF NOT EXISTS recorded_operations (
    number INTEGER PRIMARY KEY, hash INTEGER UNIQUE);
PRAGMA user_version = 1;
)";
static_assert(layoutVersion == 1, "the layout sets another version");

/** Sets a damaged database aside, so that a new one can be made. */
void setDamagedAside(const fs::path& file, const char* why)
{
    const fs::path aside = host::setAside(file);
    for (const char* ending : companions)
    {
        std::error_code ignored;
        fs::remove(file.string() + ending, ignored);
    }
    SERVICE_LOG(log::error,
                "%s.%d.%s: the history is damaged (%s): it was set aside as "
                "%s, and a new one begins",
                why, aside.c_str());
}

/** Refuses a database of another layout before anything is changed in it.
 *
 *  @throws std::runtime_error naming both versions */
void checkVersion(Database& database, const fs::path& file)
{
    const int64_t version = database.ask("PRAGMA user_version");
    if (version != 0 && version != layoutVersion)
    {
        throw std::runtime_error(
            "the history " + file.string() +
            " is left alone: it is of version " + std::to_string(version) +
            " and this program needs version " + std::to_string(layoutVersion));
    }
}

/** Opens a database and makes what is missing in it.
 *
 *  @throws SqliteError, also when it is damaged
 *  @throws std::runtime_error when it has another layout */
Database openChecked(const fs::path& file)
{
    Database database(file);
    checkVersion(database, file);
    database.run(layout);
    Statement question(database, "PRAGMA quick_check(1)");
    if (question.step(); question.text(0) != "ok")
    {
        throw SqliteError(nullptr, SQLITE_CORRUPT, question.text(0));
    }
    return database;
}

/** Removes a record if it belongs to no lasting fault, and gives its component,
 *  user and size. */
std::string removeFirstWhere(const std::string& condition)
{
    return "DELETE FROM records WHERE sequence = (SELECT sequence FROM records "
           "WHERE " +
           condition +
           " sequence NOT IN (SELECT sequence FROM followed) "
           "ORDER BY sequence LIMIT 1) RETURNING component, user, " +
           sizeOfRow;
}

} // namespace

/** The database and what is prepared for it. */
struct HistoryStore::Opened
{
    explicit Opened(const fs::path& file) :
        database(openChecked(file)), descriptor(host::openFile(file))
    {}

    Statement prepare(const std::string& text) const
    {
        return {database, text};
    }

    Database database;
    /** To notice that the file was removed. */
    host::FileDescriptor descriptor;
    Statement insertion = prepare(insertRow + " RETURNING " + sizeOfRow);
    // Not that of the last record: it may be the end of an earlier occurrence.
    Statement lastOccurrence =
        prepare("SELECT occurrence FROM records WHERE identity = ? "
                "ORDER BY occurrence DESC LIMIT 1");
    Statement oldest = prepare(removeFirstWhere(""));
    Statement oldestOfComponent =
        prepare(removeFirstWhere("component = ? AND"));
    Statement oldestOfUser = prepare(removeFirstWhere("user = ? AND"));
    Statement follow = prepare("INSERT OR REPLACE INTO followed "
                               "VALUES (?, ?, ?)");
    Statement forget = prepare("DELETE FROM followed WHERE sequence = ?");
    Statement followedSize =
        prepare("SELECT " + sizeOfRow +
                " FROM records WHERE sequence = ? AND "
                "sequence IN (SELECT sequence FROM followed)");
    Statement remember =
        prepare("INSERT OR IGNORE INTO recorded_operations (hash) VALUES (?)");
    Statement forgetOldest =
        prepare("DELETE FROM recorded_operations WHERE number <= "
                "(SELECT max(number) FROM recorded_operations) - ?");
    Statement pages = prepare("PRAGMA page_count");
    Statement freePages = prepare("PRAGMA freelist_count");
};

HistoryStore::HistoryStore(const fs::path& folder,
                           const HistoryLimits& limits) :
    file(folder / "history.db"),
    limits(limits)
{
    fs::create_directories(folder);
    try
    {
        opened = std::make_unique<Opened>(file);
    }
    catch (const SqliteError& e)
    {
        if (!e.isDamage())
        {
            throw;
        }
        setDamagedAside(file, e.what());
        opened = std::make_unique<Opened>(file);
    }
    countRecords();
    countFollowed();
    numbers.emplace(folder / "next-number", last() + 1);
}

HistoryStore::~HistoryStore()
{
    try
    {
        if (!grouped)
        {
            sync();
            numbers->end();
        }
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
    }
}

void HistoryStore::countRecords()
{
    all = {};
    ofComponent.clear();
    ofUser.clear();
    // Without GROUP BY, which would sort whole rows.
    Statement question = opened->prepare("SELECT component, user, " +
                                         sizeOfRow + " FROM records");
    while (question.step())
    {
        count(question.text(0), static_cast<uint32_t>(question.number(1)),
              static_cast<uint64_t>(question.number(2)));
    }
}

void HistoryStore::count(const std::string& component, uint32_t user,
                         uint64_t size)
{
    all.add(size);
    ofComponent.add(component, size);
    ofUser.add(user, size);
}

void HistoryStore::begin()
{
    if (!grouped)
    {
        opened->database.run("BEGIN IMMEDIATE");
        grouped = true;
    }
}

void HistoryStore::add(Record& record)
{
    begin();
    makeRoom();
    if (record.kind == Kind::appeared || record.kind == Kind::monitorLost)
    {
        record.occurrence = countOccurrences(identityOf(record.fault)) + 1;
    }
    record.sequence = numbers->take();
    bindRow(opened->insertion, record);
    opened->insertion.step();
    count(record.fault.component, record.fault.user,
          static_cast<uint64_t>(opened->insertion.number(0)));
    opened->insertion.reset();
    remember(record);
    ++sinceSync;
}

/** How often the same fault has come so far. */
uint64_t HistoryStore::countOccurrences(uint64_t identity)
{
    Statement& question = opened->lastOccurrence;
    question.bind(static_cast<int64_t>(identity));
    const int64_t found = question.step() ? question.number(0) : 0;
    question.reset();
    return static_cast<uint64_t>(found);
}

void HistoryStore::makeRoom()
{
    while (all.records >= limits.records && removeOldest(&Amount::records))
    {}
    while (bytes() > limits.bytes && removeOldest(&Amount::bytes))
    {}
}

/** Removes the record that is to go first.
 *
 *  @param[in] measure what there is too much of
 *  @return false when all records belong to lasting faults */
bool HistoryStore::removeOldest(Measure measure)
{
    const auto [component, amountOfComponent] = ofComponent.findMost(measure);
    const auto [user, amountOfUser] = ofUser.findMost(measure);
    return (amountOfComponent > all.*measure / 4 &&
            removeBy(opened->oldestOfComponent.bind(component))) ||
           (amountOfUser > all.*measure / 2 &&
            removeBy(opened->oldestOfUser.bind(int64_t{user}))) ||
           removeBy(opened->oldest);
}

/** Runs a removal.
 *
 *  @return whether there was a record to remove */
bool HistoryStore::removeBy(Statement& removal)
{
    const bool removed = removal.step();
    if (removed)
    {
        const auto size = static_cast<uint64_t>(removal.number(2));
        all.remove(size);
        ofComponent.remove(removal.text(0), size);
        ofUser.remove(static_cast<uint32_t>(removal.number(1)), size);
    }
    removal.reset();
    return removed;
}

bool HistoryStore::mayFollow(uint32_t user) const
{
    const Amount followed = followedOfUser.of(user);
    return followed.records < limits.records / 4 &&
           followed.bytes < limits.bytes / 4;
}

/** Counts what lasts. */
void HistoryStore::countFollowed()
{
    followedOfUser.clear();
    Statement question = opened->prepare(
        "SELECT user, " + sizeOfRow +
        " FROM records WHERE sequence IN (SELECT sequence FROM followed)");
    while (question.step())
    {
        followedOfUser.add(static_cast<uint32_t>(question.number(0)),
                           static_cast<uint64_t>(question.number(1)));
    }
}

void HistoryStore::follow(const FollowedFault& fault)
{
    begin();
    const auto sequence = static_cast<int64_t>(fault.appeared.sequence);
    const bool known = sizeOfFollowed(sequence) != 0;
    opened->follow
        .bind(sequence, fault.hidden ? int64_t{1} : int64_t{0},
              static_cast<int64_t>(fault.processStart))
        .run();
    const uint64_t size = sizeOfFollowed(sequence);
    if (!known && size != 0)
    {
        followedOfUser.add(fault.appeared.fault.user, size);
    }
}

void HistoryStore::forget(const FollowedFault& fault)
{
    begin();
    const auto sequence = static_cast<int64_t>(fault.appeared.sequence);
    if (const uint64_t size = sizeOfFollowed(sequence); size != 0)
    {
        followedOfUser.remove(fault.appeared.fault.user, size);
    }
    opened->forget.bind(sequence).run();
}

/** The size of a lasting fault's record; 0 when there is none. */
uint64_t HistoryStore::sizeOfFollowed(int64_t sequence)
{
    Statement& question = opened->followedSize.bind(sequence);
    const int64_t size = question.step() ? question.number(0) : 0;
    question.reset();
    return static_cast<uint64_t>(size);
}

void HistoryStore::clear()
{
    begin();
    opened->database.run("DELETE FROM records WHERE sequence NOT IN "
                         "(SELECT sequence FROM followed)");
    countRecords();
}

void HistoryStore::commit()
{
    if (grouped)
    {
        opened->database.run("COMMIT");
        grouped = false;
    }
}

void HistoryStore::sync()
{
    // Writes the journal to the disk, and then its pages into the database.
    const int result =
        sqlite3_wal_checkpoint_v2(opened->database.get(), nullptr,
                                  SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    if (result != SQLITE_OK)
    {
        throw SqliteError(opened->database.get(), result, file.string());
    }
    sinceSync = 0;
}

std::vector<FollowedFault> HistoryStore::followed()
{
    std::vector<FollowedFault> faults;
    Statement question = opened->prepare(
        selectRows("followed.hidden, followed.process_start") +
        " JOIN followed ON followed.sequence = records.sequence");
    while (question.step())
    {
        FollowedFault fault;
        fault.appeared = readRow(question);
        fault.hidden = question.number(columnsOfRow) != 0;
        fault.processStart =
            static_cast<uint64_t>(question.number(columnsOfRow + 1));
        faults.push_back(std::move(fault));
    }
    return faults;
}

HistoryPage HistoryStore::read(const HistoryQuery& query)
{
    Statement question = prepareQuery(opened->database, query);
    HistoryPage page;
    std::size_t bytes = 0;
    while (question.step())
    {
        Record record = readRow(question);
        bytes += countBytes(record);
        if (page.records.size() == query.limit ||
            (bytes > mostOfPage && !page.records.empty()))
        {
            page.next = record.sequence;
            break;
        }
        page.records.push_back(std::move(record));
    }
    return page;
}

bool HistoryStore::has(const Record& record)
{
    Statement remembered =
        opened->prepare("SELECT 1 FROM recorded_operations WHERE hash = ?");
    if (remembered.bind(static_cast<int64_t>(hashOf(record))).step())
    {
        return true;
    }
    // An earlier version of this program has remembered none.
    Statement question =
        opened->prepare("SELECT 1 FROM records WHERE kind = ? AND time = ? "
                        "AND entry = ? AND comment = ?");
    return question
        .bind(static_cast<int64_t>(record.kind), record.time,
              record.fault.entry, record.comment)
        .step();
}

/** Remembers a record of what can be found again, in case it goes. */
void HistoryStore::remember(const Record& record)
{
    if (record.kind == Kind::silenced || record.kind == Kind::acknowledged)
    {
        opened->remember.bind(static_cast<int64_t>(hashOf(record))).run();
        opened->forgetOldest.bind(mostRemembered).run();
    }
}

uint64_t HistoryStore::first()
{
    return static_cast<uint64_t>(
        opened->database.ask("SELECT min(sequence) FROM records"));
}

uint64_t HistoryStore::last()
{
    return static_cast<uint64_t>(
        opened->database.ask("SELECT max(sequence) FROM records"));
}

uint64_t HistoryStore::bytes()
{
    const auto ask = [](Statement& question) {
        question.step();
        const auto answer = static_cast<uint64_t>(question.number(0));
        question.reset();
        return answer;
    };
    return (ask(opened->pages) - ask(opened->freePages)) * pageSize;
}

bool HistoryStore::isInPlace() const
{
    return host::namedFile(opened->descriptor.get(), file).has_value();
}

} // namespace healthintf::history
