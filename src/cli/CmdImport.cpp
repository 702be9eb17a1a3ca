// tintara import (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunImport(const Arguments&, CommandContext&) {
    throw Error("the 'import' command is not available in this build yet");
}

}  // namespace tintara::cli
