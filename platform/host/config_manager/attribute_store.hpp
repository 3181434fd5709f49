#pragma once

/** @file The attributes on the disk. */

#include "../storage/lmdb.hpp"
#include "../storage/users_lock.hpp"
#include "change_record.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace healthintf::host
{

/** The open attributes of one folder. What is set is on the disk when that
 *  returns.
 *
 *  Thread-safe, like LMDB. Must not be used in a child after fork(). */
class AttributeStore
{
  public:
    /** @param[in] path the folder, made when it is not there
     *  @throws std::exception saying what is wrong */
    explicit AttributeStore(const std::filesystem::path& path);

    /** Sets an attribute. One that was never set has the value 0 before.
     *
     *  @param[in] name at most maxAttributeName bytes
     *  @return the change; nothing when the attribute has the value already
     *  @throws std::exception when nothing was changed */
    std::optional<AttributeChange> set(const std::string& name, int32_t value);

    /** The file to lock by those who announce their changes in the order in
     *  which they make them. */
    std::filesystem::path orderFile() const
    {
        return folder / "order";
    }

  private:
    void prepare();
    void open();
    std::optional<int32_t> find(const Transaction& transaction,
                                const std::string& name) const;
    void put(const Transaction& transaction, const std::string& name,
             int32_t value) const;
    void makeRoom(bool forAnother) const;

    std::filesystem::path folder;
    UsersLock users;
    EnvironmentPtr environment;
    MDB_dbi attributes = 0;
};

} // namespace healthintf::host
