#include "cli/Commands.h"

#include <ostream>

namespace tintara::cli {

// Each command lives in its own Cmd<Name>.cpp file.
int RunDemo(const Arguments&, CommandContext&);
int RunShow(const Arguments&, CommandContext&);
int RunLab(const Arguments&, CommandContext&);
int RunImport(const Arguments&, CommandContext&);
int RunExport(const Arguments&, CommandContext&);
int RunProfile(const Arguments&, CommandContext&);
int RunConvert(const Arguments&, CommandContext&);
int RunCompare(const Arguments&, CommandContext&);
int RunTolerances(const Arguments&, CommandContext&);
int RunValidate(const Arguments&, CommandContext&);

void PrintRows(std::ostream& out, const std::vector<std::vector<std::string>>& rows) {
    for (const auto& row : rows) {
        for (std::size_t c = 0; c < row.size(); ++c)
            out << (c ? "\t" : "") << row[c];
        out << "\n";
    }
}

const std::vector<Command>& AllCommands() {
    static const std::vector<Command> commands = {
        {"demo", "demo [--dir DIR] [--paper a4|letter]",
         "make the demo tile sets and fandecks in DIR and run the whole profile, coefficient "
         "file, convert and compare road",
         RunDemo},
        {"show", "show FILE.wsv", "the save set's header and records", RunShow},
        {"lab", "lab FILE [--space cielab|hunter] [--angle 0|1]",
         "one line per record: name, L, a, b (tab-separated, 6 decimals)", RunLab},
        {"import", "import IN -o OUT.wsv [--instrument ID] [--status TEXT] [--company TEXT]",
         "CGATS (ISO 28178) -> save set", RunImport},
        {"export", "export IN.wsv -o OUT.txt", "save set -> CGATS.17", RunExport},
        {"profile",
         "profile --master M.wsv --target T.wsv [--geometry sci|sce] [--nocentroid] "
         "[--ccf OUT.ccf] [--results-dir DIR] [--report FILE.txt] [--certificate FILE.pdf] "
         "[--paper a4|letter] [--cross-validate]",
         "profile the Target tile set to the Master and print the correlation grid; --ccf also "
         "writes the per-tile result save sets, into --results-dir or the current folder",
         RunProfile},
        {"convert", "convert --ccf C.ccf --in T.wsv --out OUT.wsv",
         "correct a Target save set with a coefficient file", RunConvert},
        {"compare",
         "compare --master M.wsv --target T.wsv [--ccf C.ccf] [--sce] "
         "[--report CompareReport.txt] [--certificate FILE.pdf] [--paper a4|letter] "
         "[--company TEXT] [--operator TEXT] [--tileset TEXT]",
         "compare two fandecks and print the performance grid and verdict", RunCompare},
        {"validate",
         "validate --ccf C.ccf --master M.wsv --target T.wsv [--sce] [--report V.pdf] "
         "[--csv V.csv]",
         "how well a coefficient file holds on verification samples read on both instruments",
         RunValidate},
        {"tolerances", "tolerances [--single X] [--average Y] [--space cielab|hunter]",
         "show, or validate and write, Profiler.ini", RunTolerances},
    };
    return commands;
}

}  // namespace tintara::cli
