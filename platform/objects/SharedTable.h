#pragma once
// Small tables below <root>/run/ on which the processes of a machine agree: which drive letter
// stands for which volume, which port number for which device.
//
// A table is read without a lock, and replaced by renaming a new file onto it, so a process that
// dies in the middle leaves the old table or the new one. A writer holds the lock on <table>.lock,
// and must look at the devices and at the table again under this lock: by an older view it could
// take away what another process has just given out.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

class SharedTable {
  public:
    /// The table with that name in <root>/run/. This folder is made if it is missing; the table
    /// isn't opened yet.
    explicit SharedTable(const char* name);

    /// The content; empty if there is no table yet, or it can't be opened. Never waits.
    std::string read() const;
    /// Replaces the content; the caller holds a Lock. False, and a line to the diagnostics, if it
    /// can't be written.
    bool replace(const std::string& content) const;

    /// Keeps other writers away, in this process too, while it lives; but see held().
    class Lock {
      public:
        explicit Lock(const SharedTable& table);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        /// False, with the last error, if there can be no table, if the lock's file can't be
        /// opened, or if others held the lock for two seconds (ERROR_BUSY). If locking fails for
        /// another reason, as on a file system without such locks, the result is true although
        /// nothing is locked.
        bool held() const noexcept { return static_cast<bool>(file_); }

      private:
        Descriptor file_;
    };

  private:
    std::string path_;  // empty if there can be no table
};

}  // namespace zlk::platform
