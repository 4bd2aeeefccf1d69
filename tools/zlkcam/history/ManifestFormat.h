#pragma once
// The names that manifests and their chain file are written with.

namespace zlk {

inline constexpr char manifestNamespace[] = "urn:ASC:MHL:v2.0";
inline constexpr char chainNamespace[] = "urn:ASC:MHL:DIRECTORY:v2.0";
inline constexpr char manifestVersion[] = "2.0";
/// Of our own elements in their `metadata`: `device` of a manifest, `source` of a file.
inline constexpr char ownNamespace[] = "urn:x-zlkcam:history:1";

}  // namespace zlk
