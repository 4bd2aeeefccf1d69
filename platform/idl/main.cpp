// zlk-idl: makes the C++ header and the type library of an interface definition file. It runs in
// the build, and uses only the standard library so that nothing has to be built before it.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "HeaderWriter.h"
#include "IdlParser.h"
#include "TypeLibraryWriter.h"

namespace {

std::string readAll(const std::filesystem::path& path) {
    std::ifstream input(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(input), {}};
    if (!input) throw std::runtime_error("can't be read");
    return text;
}

void writeAll(const std::filesystem::path& path, const std::string& text) {
    std::ofstream output(path, std::ios::binary | std::ios::trunc);
    output << text;
    output.close();
    if (!output) throw std::runtime_error("can't write " + path.string());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: zlk-idl FILE.idl HEADER.h LIBRARY.tlb\n", stderr);
        return 2;
    }
    const std::filesystem::path source = argv[1];
    try {
        const zlk::idl::File file = zlk::idl::parse(readAll(source));
        writeAll(argv[2], zlk::idl::writeHeader(file, source.filename().string()));
        writeAll(argv[3], zlk::idl::writeTypeLibrary(file));
        return 0;
    } catch (const zlk::idl::ParseError& error) {
        std::fprintf(stderr, "%s:%d: %s\n", argv[1], error.line(), error.what());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[1], error.what());
    }
    return 1;
}
