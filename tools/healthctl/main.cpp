// SPDX-License-Identifier: Apache-2.0
/** @file healthctl: the operator's command line. */

#include "../../services/common/standard_streams.hpp"
#include "command_line.hpp"
#include "commands/ack.hpp"
#include "commands/check.hpp"
#include "commands/count.hpp"
#include "commands/dismiss.hpp"
#include "commands/doctor.hpp"
#include "commands/explain.hpp"
#include "commands/faults.hpp"
#include "commands/hide.hpp"
#include "commands/history.hpp"
#include "commands/lcd.hpp"
#include "commands/leds.hpp"
#include "commands/raise.hpp"
#include "commands/sel.hpp"
#include "commands/silence.hpp"
#include "commands/top.hpp"
#include "commands/tree.hpp"
#include "commands/watch.hpp"

#include <exception>
#include <iostream>

#include <printable.hpp>

int main(int argc, char** argv)
{
    using namespace healthintf::healthctl;
    healthintf::services::fillStandardStreams();
    try
    {
        CommandLine commands(std::cout, std::cerr);
        addTree(commands);
        addFaults(commands);
        addExplain(commands);
        addTop(commands);
        addCount(commands);
        addCheck(commands);
        addLeds(commands);
        addHide(commands);
        addUnhide(commands);
        addSilence(commands);
        addAck(commands);
        addDismiss(commands);
        addRaise(commands);
        addClear(commands);
        addLcd(commands);
        addSel(commands);
        addHistory(commands);
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
