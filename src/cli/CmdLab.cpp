// tintara lab (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunLab(const Arguments&, CommandContext&) {
    throw Error("the 'lab' command is not available in this build yet");
}

}  // namespace tintara::cli
