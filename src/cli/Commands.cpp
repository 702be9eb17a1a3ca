#include "cli/Commands.h"

namespace tintara::cli {

// Each command lives in its own Cmd*.cpp file.
// (New commands: declare the function here and add a row below.)

const std::vector<Command>& AllCommands() {
    static const std::vector<Command> commands = {
    };
    return commands;
}

}  // namespace tintara::cli
