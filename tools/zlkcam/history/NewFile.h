#pragma once
// A file that is written under a hidden name, so that it is whole on the disk before it gets its
// real name. Everything is reached from an open folder. Functions that fail throw Failure
// (FileUnusable).

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace zlk {

/// Owns the open file. The caller calls finish() before it has the file moved to a name. Used by
/// one thread at a time.
class NewFile {
  public:
    /// Creates the hidden file in `folder`, an open descriptor that stays the caller's and outlives
    /// this. `name` becomes a part of the hidden name and stands in messages. The real name is
    /// given later and may differ.
    NewFile(int folder, const std::string& name);
    /// Deletes the file if it still has its hidden name.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// Appends bytes, which are collected and written in large blocks.
    void write(std::string_view bytes);
    /// Writes the rest and waits until all bytes are on the disk. To be called before the file gets
    /// its name.
    void finish();

    /// Moves the file to a name; false if the name is taken.
    bool takeName(const std::string& name);
    /// Moves the file to the first free name that datedName forms, flushes the folder, and returns
    /// the name.
    std::string takeDatedName(std::int64_t made, std::string_view suffix);
    /// Moves the file to a name and replaces a file that has it.
    void replace(const std::string& name);
    /// Whether the file has got its name. It may have one although an operation above threw, as the
    /// flush after a move can fail.
    bool hasName() const noexcept { return !isHidden_; }

  private:
    void writeOut();

    const int folder_;
    const std::string name_, hidden_;
    Descriptor file_;
    std::string buffer_;
    bool isHidden_ = true;
};

/// Waits until the names in an open folder are on the disk, if the file system can do that. `name`
/// is the folder's, for messages.
void flushFolder(int folder, const std::string& name);

}  // namespace zlk
