// Packs or unpacks from the command line, for benchmarks/zip/compare and for trying archives by hand.
#include <ZIP/ExtractZip.h>
#include <ZIP/ZipDirectory.h>

#include <iostream>
#include <string_view>

int main(int count, char** arguments) {
    const std::string_view action = count == 4 ? arguments[1] : "";
    try {
        if (action == "pack")
            halvo::zipDirectory(arguments[2], arguments[3]);
        else if (action == "unpack")
            halvo::extractZip(arguments[2], arguments[3]);
        else {
            std::cerr << "usage: PackFolder pack FOLDER ARCHIVE | unpack ARCHIVE FOLDER\n";
            return 2;
        }
    } catch (const std::exception& error) {
        std::cerr << halvo::describe(error) << "\n";
        return 1;
    }
}
