// SPDX-License-Identifier: Apache-2.0
#include "../sel/sel_transfer.hpp"

#include "../error.hpp"
#include "../output/line_output.hpp"
#include "../sel/log_reader.hpp"
#include "../sel/logmgr_client.hpp"
#include "sel.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

ExitCode exportTo(const Context& context, const std::string& file)
{
    const bool intoOutput = file == standardStream;
    if (intoOutput && context.json)
    {
        throw Error(ExitCode::usage,
                    "records and JSON cannot both go to standard output; name "
                    "a file");
    }
    const ReadLog log = readLog();
    std::vector<RawRecord> records;
    for (const SELEntry_gen& entry : log.entries)
    {
        records.push_back(entry.record());
    }
    writeRecords(records, file, context.out);
    if (context.json)
    {
        writeJson(context, "healthctl.sel-export/1",
                  {{"file", file},
                   {"exported", records.size()},
                   {"upTo", log.last},
                   {"source", log.source()}});
    }
    else if (!intoOutput)
    {
        writeLine(context, std::to_string(records.size()) + " exported" +
                               upTo(log.last));
    }
    return ExitCode::ok;
}

ExitCode importFrom(const Context& context, const std::string& file)
{
    const std::vector<RawRecord> records = readRecords(file);
    LogmgrClient log;
    const std::vector<uint32_t> ids = importRecords(log, records);
    if (context.json)
    {
        writeJson(context, "healthctl.sel-import/1",
                  {{"imported", ids.size()}, {"ids", ids}});
    }
    else
    {
        writeLine(context, std::to_string(ids.size()) + " imported");
    }
    return ExitCode::ok;
}

void addTransfer(CommandLine& commands, CLI::App& sel, const CommandText& text,
                 ExitCode (*work)(const Context&, const std::string&))
{
    const auto file = std::make_shared<std::string>();
    commands
        .add(sel, text,
             [file, work](const Context& context) {
                 return work(context, *file);
             })
        .add_option("FILE", *file, "The file; - for standard input or output")
        ->required()
        ->type_name("");
}

} // namespace

void addSelTransfer(CommandLine& commands, CLI::App& sel)
{
    addTransfer(commands, sel,
                {.name = "export",
                 .summary = "Writes all records to a file.",
                 .more = "The file has the 16 bytes of each record, one after "
                         "another: what\n"
                         "\"ipmitool sel writeraw\" writes and \"ipmitool sel "
                         "readraw\" reads.\n"
                         "\n"
                         "Says up to which entry the log went, which \"sel "
                         "clear --up-to\" takes.\n"
                         "\n"
                         "Examples:\n"
                         "  healthctl sel export log.raw\n"
                         "  healthctl sel export - | xxd"},
                exportTo);
    addTransfer(commands, sel,
                {.name = "import",
                 .summary = "Stores the records of a file.",
                 .more = "Takes what \"sel export\" and \"ipmitool sel "
                         "writeraw\" write. Records keep\n"
                         "their times and get new identifiers; such a file "
                         "has no names of sensors.\n"
                         "A file whose last record is cut is not imported at "
                         "all.\n"
                         "\n"
                         "Examples:\n"
                         "  healthctl sel import log.raw\n"
                         "  ssh other healthctl sel export - | healthctl sel "
                         "import -"},
                importFrom);
}

} // namespace healthintf::healthctl
