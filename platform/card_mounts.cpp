#include "platform/card_mounts.h"

#include <fcntl.h>

#include "platform/base/WithoutExceptions.h"
#include "platform/drives/CardMountStore.h"
#include "platform/drives/DriveLetters.h"
#include "platform/files/PathTarget.h"
#include "platform/text.h"

using namespace zlk::platform;

namespace {

constexpr std::size_t maxLabel = 32, maxDeviceText = 64, maxFolder = 4096;  // units

bool refuse(LSTATUS error) {
    SetLastError(static_cast<DWORD>(error));
    return false;
}

// Whether a text fits and holds no zero, at which readers of the setting would cut it.
bool hasText(const std::u16string& text, std::size_t limit) {
    return text.size() <= limit && text.find(u'\0') == text.npos;
}

bool isFolder(const std::u16string& path) {
    auto target = PathTarget::find(path.c_str());
    return target && target->open(O_PATH | O_DIRECTORY);
}

bool mountUnderLock(CardMount& mount, const LetterLock& lock) {
    // The letters of mounted folders and of volumes. No other process gives one while we hold the
    // lock.
    std::u16string taken = mountedLetters();
    for (const LetteredVolume& lettered : letteredVolumes(taken, &lock)) taken += lettered.letter;
    if (mount.letter && taken.find(mount.letter) != taken.npos) return refuse(ERROR_ALREADY_EXISTS);
    WCHAR letter = mount.letter ? mount.letter : firstLetter;
    while (taken.find(letter) != taken.npos) ++letter;
    if (letter > lastLetter) return refuse(ERROR_INVALID_DRIVE);
    // Except for the case of its letter, the caller's structure changes only on success.
    CardMount given = mount;
    given.letter = letter;
    if (const LSTATUS error = writeCardMount(given)) return refuse(error);
    mount.letter = letter;
    return true;
}

bool mountFolder(CardMount& mount) {
    if (mount.letter) {
        mount.letter = upperCase(mount.letter);
        if (mount.letter < firstLetter || mount.letter > lastLetter)
            return refuse(ERROR_INVALID_DRIVE);
    }
    if (!hasText(mount.label, maxLabel) || !hasText(mount.vendor, maxDeviceText) ||
        !hasText(mount.product, maxDeviceText) || !hasText(mount.folder, maxFolder))
        return refuse(ERROR_INVALID_PARAMETER);
    if (!mount.folder.starts_with(u'/') || !isFolder(mount.folder)) return refuse(ERROR_DIRECTORY);
    const LetterLock lock;
    return lock.held() && mountUnderLock(mount, lock);
}

bool unmountFolder(WCHAR letter) {
    const LetterLock lock;
    if (!lock.held()) return false;
    letter = upperCase(letter);
    if (!readCardMount(letter)) return refuse(ERROR_INVALID_DRIVE);
    const LSTATUS error = removeCardMount(letter);
    return !error || refuse(error);
}

}  // namespace

BOOL mountCard(CardMount& mount) noexcept {
    return withoutExceptions(false, [&] { return mountFolder(mount); });
}

BOOL unmountCard(WCHAR letter) noexcept {
    return withoutExceptions(false, [&] { return unmountFolder(letter); });
}

std::vector<CardMount> mountedCards() {
    return withoutExceptions(std::vector<CardMount>(), [] { return readCardMounts(); });
}
