// SPDX-License-Identifier: Apache-2.0
#include "confirmation.hpp"

#include "../error.hpp"

#include <unistd.h>

#include <iostream>

namespace healthintf::healthctl
{

bool isConfirmed(const Context& context, const std::string& deed,
                 const std::string& question)
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
    {
        throw Error(ExitCode::usage, "nobody can be asked whether to " + deed +
                                         "; say so with --yes");
    }
    context.out << question << "? [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(std::cin, answer))
    {
        // The end of the input leaves the cursor behind the question.
        context.out << '\n';
    }
    return answer == "y" || answer == "Y" || answer == "yes";
}

} // namespace healthintf::healthctl
