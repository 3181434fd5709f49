/** @file healthctl: the operator's command line. */

#include "command_line.hpp"
#include "commands/count.hpp"

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    using namespace healthintf::healthctl;
    try
    {
        CommandLine commands(std::cout, std::cerr);
        addCount(commands);
        return commands.run(argc, argv);
    }
    catch (const std::exception& e)
    {
        std::cerr << "healthctl: " << e.what() << '\n';
        return static_cast<int>(ExitCode::failed);
    }
}
