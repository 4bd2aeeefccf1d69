#pragma once
// A file that is written under a hidden name of its own, and has its real one when it is whole on
// the disk. Reached from an open folder throughout. All throw Failure (FileUnusable).

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace zlk {

class NewFile {
  public:
    /// `name` is the one that it will have, or like it.
    NewFile(int folder, const std::string& name);
    /// Takes away what has no name yet.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::string_view bytes);
    /// Waits until all of it is on the disk.
    void finish();

    /// False if something else has that name.
    bool takeName(const std::string& name);
    /// Takes the first free one of the names that a file of this moment has in the folder, waits
    /// until it is on the disk, and gives it.
    std::string takeDatedName(std::int64_t made, std::string_view suffix);
    /// Takes the name away from whatever has it.
    void replace(const std::string& name);

  private:
    void writeOut();

    const int folder_;
    const std::string name_, hidden_;
    Descriptor file_;
    std::string buffer_;
    bool isHidden_ = true;
};

/// Waits until the names in an open folder are on the disk, where the file system can say so.
void flushFolder(int folder, const std::string& name);

}  // namespace zlk
