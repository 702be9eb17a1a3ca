// The tintara subcommands. Each takes its own arguments (after the command word) and returns the
// exit status; usage errors are thrown as UsageError, refusals and failures as tintara::Error.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace tintara::cli {

using Arguments = std::vector<std::string>;

struct CommandContext {
    std::ostream& out;
    std::ostream& err;
};

struct Command {
    const char* name;
    const char* usage;  // the synopsis line after "tintara "
    const char* summary;
    int (*run)(const Arguments& args, CommandContext& context);
};

// Table rows as tab-separated lines.
void PrintRows(std::ostream& out, const std::vector<std::vector<std::string>>& rows);

// All commands, in the order `tintara --help` lists them.
const std::vector<Command>& AllCommands();

}  // namespace tintara::cli
