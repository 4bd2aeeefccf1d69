#pragma once
// The .reg text form of settings, version 5: a header line, then keys in brackets, each followed
// by its values.
//
//     [HKEY_LOCAL_MACHINE\Software\Zephyr-Lanthorn]     [-...] deletes the key
//     "Name"="text"        REG_SZ        "Name"=-       deletes the value
//     "Name"=dword:0000000a  REG_DWORD   @=...          the key's default value
//     "Name"=hex:01,02     REG_BINARY    hex(7):...     any other type; a `\` at the end of a
//                                                       line goes on in the next one
//     ; a comment

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace zlk {

struct SettingsValue {
    std::u16string name;  ///< empty: the key's default value
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
    bool remove = false;
};

struct SettingsKey {
    std::u16string path;  ///< from the root's full name on
    bool remove = false;
    std::vector<SettingsValue> values;
    std::size_t line = 0;  ///< where it stands in the text, from 1
};

/// Reads the bytes of a file: UTF-8, or UTF-16 with its byte order mark. Throws Failure
/// (BadDocument), which names the line, before anything of it can be used.
std::vector<SettingsKey> parseSettingsText(std::string_view bytes);

/// The text, in UTF-8, that reads back as these keys. What the form can't hold (a name with a
/// line end, say) is left out and named in `leftOut`.
std::string writeSettingsText(const std::vector<SettingsKey>& keys,
                              std::vector<std::string>& leftOut);

/// The data of a REG_SZ value.
std::vector<BYTE> textData(std::u16string_view text);
/// The text of such data; false if it isn't one text with its terminator.
bool dataText(const std::vector<BYTE>& data, std::u16string& text);

/// "01,02,ff" as bytes; false for anything else.
bool hexData(std::u16string_view text, std::vector<BYTE>& data);
std::string hexText(const std::vector<BYTE>& data);

}  // namespace zlk
