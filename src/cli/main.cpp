// tintara: the command-line face of the profiler; the same core the desktop application drives.
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

namespace {

void PrintHelp(std::ostream& out) {
    out << "Usage: tintara COMMAND [OPTIONS]\n"
           "Profiles a Target spectrophotometer to a Master, converts and compares fandecks.\n\n"
           "Commands:\n";
    for (const Command& c : AllCommands()) {
        out << "  tintara " << c.usage << "\n      " << c.summary << "\n";
    }
    out << "\nOptions:\n  --help     this text\n  --version  the program version\n\n"
           "Exit status: 0 success, 1 refused or failed, 2 usage error.\n";
}

int Usage(std::ostream& err, const std::string& problem, const Command* command) {
    err << "tintara: " << problem << "\n";
    if (command) {
        err << "usage: tintara " << command->usage << "\n";
    } else {
        err << "usage: tintara COMMAND [OPTIONS]   (tintara --help lists the commands)\n";
    }
    return 2;
}

}  // namespace

int Main(const std::vector<std::string>& argv) {
    if (argv.empty())
        return Usage(std::cerr, "no command given", nullptr);
    const std::string& word = argv[0];
    if (word == "--help" || word == "-h" || word == "help") {
        PrintHelp(std::cout);
        return 0;
    }
    if (word == "--version") {
        std::cout << "tintara " << TINTARA_VERSION << "\n";
        return 0;
    }
    const Command* command = nullptr;
    for (const Command& c : AllCommands()) {
        if (word == c.name)
            command = &c;
    }
    if (!command)
        return Usage(std::cerr, "unknown command '" + word + "'", nullptr);
    const Arguments rest(argv.begin() + 1, argv.end());
    for (const std::string& a : rest) {
        if (a == "--help") {
            std::cout << "usage: tintara " << command->usage << "\n  " << command->summary << "\n";
            return 0;
        }
    }
    CommandContext context{std::cout, std::cerr};
    try {
        return command->run(rest, context);
    } catch (const UsageError& e) {
        return Usage(std::cerr, e.what(), command);
    } catch (const RefusalShown&) {
        return 1;  // its box is on stderr already
    } catch (const Refusal& e) {
        std::cerr << e.Title() << ": " << e.Text() << "\n";
        return 1;
    } catch (const std::exception& e) {
        std::cerr << "tintara " << word << ": " << e.what() << "\n";
        return 1;
    }
}

}  // namespace tintara::cli

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    try {
        return tintara::cli::Main(args);
    } catch (const std::exception& e) {
        std::cerr << "tintara: " << e.what() << "\n";
        return 1;
    }
}
