#pragma once
// Small tables below <root>/run/ on which the processes of a machine agree: which letter stands
// for which volume, which port number for which device.
//
// A table is read without a lock and replaced by renaming a new one onto it, under a lock on
// <table>.lock that is held for no more than that; so a process that dies in the middle leaves the
// old table or the new one. Whoever decides what to write looks at the world anew under the lock:
// by an older view he would take away what somebody else has just been given.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

class SharedTable {
  public:
    /// Of that name in <root>/run/.
    explicit SharedTable(const char* name);

    /// Empty if there is none yet. Never waits.
    std::string read() const;
    /// False if it can't be written, which the diagnostics tell.
    bool replace(const std::string& content) const;

    class Lock {
      public:
        explicit Lock(const SharedTable& table);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        /// False, with the last error, where it can't be had within some seconds.
        bool held() const noexcept { return static_cast<bool>(file_); }

      private:
        Descriptor file_;
    };

  private:
    std::string path_;  // empty, with the last error, where there can be none
};

}  // namespace zlk::platform
