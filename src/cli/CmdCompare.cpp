// tintara compare (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunCompare(const Arguments&, CommandContext&) {
    throw Error("the 'compare' command is not available in this build yet");
}

}  // namespace tintara::cli
