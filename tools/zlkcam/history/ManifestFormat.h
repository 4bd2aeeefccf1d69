#pragma once
// XML namespaces and versions of manifests and their chain file.

namespace zlk {

inline constexpr char manifestNamespace[] = "urn:ASC:MHL:v2.0";
inline constexpr char chainNamespace[] = "urn:ASC:MHL:DIRECTORY:v2.0";
inline constexpr char manifestVersion[] = "2.0";
/// The namespace of our own elements inside of `metadata`: `device` of a manifest, `source` of a
/// file.
inline constexpr char ownNamespace[] = "urn:x-zlkcam:history:1";

}  // namespace zlk
