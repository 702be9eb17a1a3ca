// tintara show (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunShow(const Arguments&, CommandContext&) {
    throw Error("the 'show' command is not available in this build yet");
}

}  // namespace tintara::cli
