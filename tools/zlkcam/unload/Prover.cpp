#include "tools/zlkcam/unload/Prover.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/MediumReader.h"

namespace zlk {

Proof prove(int file, const ContentSum& sum) {
    const std::optional<MediumDigest> back = digestFromMedium(file, DigestKind::Xxh128);
    if (!back)
        throw Failure(ExitStatus::FileUnusable,
                      std::string("The copy can't be read back from the disk: ") +
                          std::strerror(errno) + ".");
    if (back->digest != Digest(sum))
        throw Failure(ExitStatus::NotVerified,
                      "The copy reads back from the disk with other bytes.",
                      "The disk may be failing. Choose another one.");
    return {back->isFromMedium};
}

}  // namespace zlk
