// tintara demo (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunDemo(const Arguments&, CommandContext&) {
    throw Error("the 'demo' command is not available in this build yet");
}

}  // namespace tintara::cli
