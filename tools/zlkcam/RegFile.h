#pragma once
// The .reg text form of settings, version 5: a header line, then keys in brackets, each followed
// by its values.
//
//     [HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn]     [-...] deletes the key
//     "Name"="text"        REG_SZ        "Name"=-       deletes the value
//     "Name"=dword:0000000a  REG_DWORD   @=...          the key's default value
//     "Name"=hex:01,02     REG_BINARY    hex(7):...     any other type; a line of bytes that
//                                                       ends with `\` goes on in the next one
//     ; a comment

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace zlk {

/// A value of a key, or one that the file deletes.
struct SettingsValue {
    std::u16string name;  ///< empty for the key's default value
    DWORD type = REG_NONE;
    /// The bytes as they are stored; a text is UTF-16 with its terminator.
    std::vector<BYTE> data;
    bool remove = false;  // the file deletes the value
};

/// A key with its own values, or a key that the file deletes.
struct SettingsKey {
    std::u16string path;  ///< as SettingsPath takes it
    bool remove = false;
    std::vector<SettingsValue> values;
    std::size_t line = 0;  ///< its line in the parsed text, from 1; 0 if it wasn't parsed
};

/// Parses the contents of a file: UTF-8, or UTF-16 with a byte order mark. Throws Failure
/// (BadDocument) with the number of the wrong line in its message.
std::vector<SettingsKey> parseSettingsText(std::string_view bytes);

/// The text, in UTF-8, from which parseSettingsText makes these keys again. `remove` is ignored:
/// keys and values to delete are written like all others. What the form can't hold, such as a name
/// with a line end, is left out and named in `leftOut`.
std::string writeSettingsText(const std::vector<SettingsKey>& keys,
                              std::vector<std::string>& leftOut);

/// The data of a REG_SZ value: UTF-16 with its terminator.
std::vector<BYTE> textData(std::u16string_view text);
/// The text in a REG_SZ value's data; false if the data isn't one text with its terminator.
bool dataText(const std::vector<BYTE>& data, std::u16string& text);

/// Parses bytes as in "01,02,ff", with or without blanks around the numbers. An empty text has no
/// bytes. Returns false for any other text.
bool hexData(std::u16string_view text, std::vector<BYTE>& data);
/// The reverse of hexData.
std::string hexText(const std::vector<BYTE>& data);

}  // namespace zlk
