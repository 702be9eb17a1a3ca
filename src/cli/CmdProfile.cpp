// tintara profile (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunProfile(const Arguments&, CommandContext&) {
    throw Error("the 'profile' command is not available in this build yet");
}

}  // namespace tintara::cli
