// The command-line tests' shared steps: running the built tool and reading its tabbed output.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/TestPaths.h"

namespace tintara::test {

inline std::string Quote(const std::filesystem::path& p) {
    return "'" + p.string() + "'";
}

struct CliRun {
    int Status = -1;
    std::string Out, Err;
};

// `tintara arguments` run in `home`, with Profiler.ini looked for there only, so the user's own
// settings never leak in (no file there means the defaults).
// `environment` is put before the command ("NAME=value ...").
inline CliRun Tintara(const std::filesystem::path& home, const std::string& arguments,
                      const std::string& environment = "") {
    CliRun run;
    run.Status =
        RunCommand("cd " + Quote(home) + " && " + environment + " TINTARA_HOME=" + Quote(home) +
                       " " + Quote(CliPath()) + " " + arguments,
                   &run.Out, &run.Err);
    return run;
}

// A refusal exits with 1 and gives its reason on stderr; a usage error exits with 2 and shows
// the command's usage line. Neither writes to stdout.
inline void ExpectFailure(const std::filesystem::path& home, const std::string& arguments,
                          int status, std::string reason = "") {
    if (status == 2)
        reason = "usage: tintara " + arguments.substr(0, arguments.find(' ')) + " ";
    const CliRun run = Tintara(home, arguments);
    EXPECT_EQ(run.Status, status) << arguments;
    EXPECT_NE(run.Err.find(reason), std::string::npos) << arguments << "\n" << run.Err;
    EXPECT_EQ(run.Out, "") << arguments;
}

// The output's lines, split at tabs.
inline std::vector<std::vector<std::string>> Rows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream cells(line);
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '\t');)
            rows.back().push_back(cell);
    }
    return rows;
}

}  // namespace tintara::test
