#pragma once
// The classes of the installed modules: `zlkcamtr/classes.db` beside this library, written when
// the tree is installed and by nobody afterwards. It is read whole, and again once it is another
// file; nothing of it stays open.

#include <map>
#include <string>

#include "platform/settings/RegistryDatabase.h"
#include "platform/settings/RegistryFile.h"
#include "platform/settings/RegistryStore.h"

namespace zlk::platform {

class InstalledClasses : public RegistryBackdrop {
  public:
    InstalledClasses();
    /// Throws ERROR_ACCESS_DENIED and ERROR_BADDB for a store that can't be trusted or read.
    std::shared_ptr<const RegistryContent> find(const RegistryPath& path) override;

    /// Writes the classes of `store` as such a file. Throws RegistryFailure.
    static void save(RegistryStore& store, const std::string& path);

  private:
    using Keys =
        std::map<std::u16string, std::shared_ptr<const RegistryContent>>;  // by folded path

    Keys load();
    std::string path_;  // empty where this library's own place isn't known
    FileStamp stamp_;
    DWORD failure_ = ERROR_SUCCESS;
    Keys keys_;
};

}  // namespace zlk::platform
