#include "tools/zlkcam/history/SumsFile.h"

#include <algorithm>
#include <vector>

namespace zlk {
namespace {

// Longer than any path, even with each character escaped.
constexpr std::size_t longestLine = 16 * 1024;

std::string escaped(const std::string& path) {
    std::string text;
    for (const char c : path) {
        if (c == '\n')
            text += "\\n";
        else if (c == '\r')
            text += "\\r";
        else if (c == '\\')
            text += "\\\\";
        else
            text += c;
    }
    return text;
}

std::string unescaped(std::string_view text) {
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            path += text[i];
            continue;
        }
        const char next = ++i < text.size() ? text[i] : '\0';
        if (next != 'n' && next != 'r' && next != '\\')
            throw UnusableFile("a path in it can't be understood");
        path += next == 'n' ? '\n' : next == 'r' ? '\r' : '\\';
    }
    return path;
}

/// Parses digits, a separator and a path. The separator ` *` marks a file read in binary mode,
/// which makes no difference here.
HashRecord parseLine(std::string_view line, DigestKind kind) {
    const bool isEscaped = line.starts_with('\\');
    if (isEscaped) line.remove_prefix(1);
    const std::size_t digits = 2 * digestSize(kind);
    const std::optional<Digest> sum = Digest::parse(kind, line.substr(0, digits));
    const std::string_view parted = line.substr(std::min(digits, line.size()), 2);
    if (!sum || (parted != "  " && parted != " *"))
        throw UnusableFile("a line in it is no sum with a path");
    const std::string_view path = line.substr(digits + 2);
    HashRecord record;
    record.path = isEscaped ? unescaped(path) : std::string(path);
    record.sums = {*sum};
    return record;
}

}  // namespace

std::string sumsLine(const Digest& sum, const std::string& path) {
    // A path is only escaped where necessary, since older checkers don't know escapes.
    const bool isEscaped = path.find_first_of("\n\r") != path.npos;
    return (isEscaped ? "\\" : "") + sum.text() + "  " + (isEscaped ? escaped(path) : path) + '\n';
}

RunContent readSums(const ByteSource& source, DigestKind kind) {
    RunContent content;
    std::string text;
    std::vector<char> block(64 * 1024);
    // Complete lines are parsed from each block, and the rest is kept for the next one.
    while (const std::size_t read = source(block)) {
        text.append(block.data(), read);
        std::size_t start = 0;
        for (std::size_t end = 0; (end = text.find('\n', start)) != text.npos; start = end + 1) {
            const auto line = std::string_view(text).substr(start, end - start);
            if (!line.empty() && line.front() != '#') content.add(parseLine(line, kind));
        }
        text.erase(0, start);
        if (text.size() > longestLine) throw UnusableFile("a line in it is too long");
    }
    if (!text.empty()) throw UnusableFile("it ends in the middle of a line");
    return content;
}

}  // namespace zlk
