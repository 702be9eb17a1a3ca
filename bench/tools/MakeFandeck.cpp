// tintara-make-fandeck DIR RECORDS: writes demo.ccf and a RECORDS-record two-angle Master and
// Target fandeck (master-RECORDS.wsv, target-RECORDS.wsv) into DIR for the memory measurements.
#include <cstdlib>
#include <exception>
#include <iostream>

#include "../LargeFandeck.h"

int main(int argc, char** argv) {
    if (argc != 3 || std::atoi(argv[2]) <= 0) {
        std::cerr << "usage: tintara-make-fandeck DIR RECORDS\n";
        return 2;
    }
    try {
        const auto files = tintara::bench::WriteLargeFandeck(argv[1], std::atoi(argv[2]));
        std::cout << files.ccf.string() << "\n"
                  << files.master.string() << "\n"
                  << files.target.string() << "\n";
    } catch (const std::exception& e) {
        std::cerr << "tintara-make-fandeck: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
