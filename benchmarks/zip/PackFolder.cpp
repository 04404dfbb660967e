// Packs a folder from the command line, for benchmarks/zip/compare and for trying archives by hand.
#include <ZIP/ZipDirectory.h>

#include <iostream>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: PackFolder FOLDER ARCHIVE\n";
        return 2;
    }
    try {
        halvo::zipDirectory(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::cerr << halvo::describe(error) << "\n";
        return 1;
    }
}
