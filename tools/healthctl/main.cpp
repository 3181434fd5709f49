// SPDX-License-Identifier: Apache-2.0
/** @file healthctl: the operator's command line. */

#include "command_line.hpp"
#include "commands/count.hpp"
#include "commands/doctor.hpp"
#include "commands/faults.hpp"
#include "commands/hide.hpp"
#include "commands/lcd.hpp"
#include "commands/leds.hpp"
#include "commands/sel.hpp"
#include "commands/top.hpp"
#include "commands/tree.hpp"
#include "commands/watch.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>

#include <printable.hpp>

namespace
{

/** Opens the standard streams that are closed: the connection to the bus would
 *  take their place, and our output with it. Writing there fails, as it should.
 */
void fillStandardStreams()
{
    int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    while (file >= 0 && file <= STDERR_FILENO)
    {
        file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    if (file >= 0)
    {
        close(file);
    }
}

} // namespace

int main(int argc, char** argv)
{
    using namespace healthintf::healthctl;
    fillStandardStreams();
    try
    {
        CommandLine commands(std::cout, std::cerr);
        addTree(commands);
        addFaults(commands);
        addTop(commands);
        addCount(commands);
        addLeds(commands);
        addHide(commands);
        addUnhide(commands);
        addLcd(commands);
        addSel(commands);
        addWatch(commands);
        addDoctor(commands);
        return commands.run(argc, argv);
    }
    catch (const std::exception& e)
    {
        std::cerr << "healthctl: " << healthintf::host::printable(e.what())
                  << '\n';
        return static_cast<int>(ExitCode::failed);
    }
}
