#pragma once
// The classes of the installed modules: read-only keys from the file `zlkcamtr/classes.db` beside
// this library. Only an installation makes the file. The file is read as a whole, and again when it
// has changed; it doesn't stay open. The class isn't thread-safe: RegistryKeys has the lock.

#include <map>
#include <string>

#include "platform/settings/RegistryDatabase.h"
#include "platform/settings/RegistryFile.h"
#include "platform/settings/RegistryStore.h"

namespace zlk::platform {

class InstalledClasses : public RegistryBackdrop {
  public:
    InstalledClasses();
    /// As RegistryBackdrop::find. Throws RegistryFailure, among others with ERROR_ACCESS_DENIED for
    /// a file that isn't trusted or may not be read, and with ERROR_BADDB for a damaged file or one
    /// that is no store of this version.
    std::shared_ptr<const RegistryContent> find(const RegistryPath& path) override;

    /// Writes the classes of `store` to the new file `path` in the form of classes.db, with the
    /// paths of modules and type libraries cut to bare names. Throws RegistryFailure, with
    /// ERROR_FILE_EXISTS if there is a file at `path`.
    static void save(RegistryStore& store, const std::string& path);

  private:
    using Keys =
        std::map<std::u16string, std::shared_ptr<const RegistryContent>>;  // by folded path

    Keys load();
    std::string path_;               // of classes.db
    FileStamp stamp_;                // of the file that keys_ or failure_ is from
    DWORD failure_ = ERROR_SUCCESS;  // why that file can't be used
    Keys keys_;
};

}  // namespace zlk::platform
