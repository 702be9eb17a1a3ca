// tintara tolerances (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunTolerances(const Arguments&, CommandContext&) {
    throw Error("the 'tolerances' command is not available in this build yet");
}

}  // namespace tintara::cli
