// tintara export (being built; replaced by the real command).
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunExport(const Arguments&, CommandContext&) {
    throw Error("the 'export' command is not available in this build yet");
}

}  // namespace tintara::cli
