// tintara convert (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunConvert(const Arguments&, CommandContext&) {
    throw Error("the 'convert' command is not available in this build yet");
}

}  // namespace tintara::cli
