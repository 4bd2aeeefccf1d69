#pragma once
// Builds the `fileInfo` document, the list of a device's files.

#include <cstdint>
#include <string>

#include "foundation/FileTimestamp.h"
#include "foundation/Xml.h"

namespace zlk {

/// Holds a `file` element for each record, with the children id, albums, camerapath, pcpath, size,
/// modified, created and status. Without an XML component the document is empty.
class FileInfoList {
  public:
    FileInfoList();

    /// Adds a record after those that are there. `size` is in bytes. `albums` is an XML element or
    /// empty; the other texts are never parsed. A record that can't be built is left out.
    void addFile(const std::u16string& id, const std::u16string& camerapath,
                 const std::u16string& pcpath, std::uint64_t size, FileTimestamp modified,
                 FileTimestamp created, const std::u16string& status, const std::u16string& albums);

    /// The document as text; empty on failure.
    std::u16string getXml() const;

  private:
    XmlDocument document;
};

/// One `file` element as a document of its own; empty if any step fails.
std::u16string buildFileRecordXml(const std::u16string& id, const std::u16string& camerapath,
                                  const std::u16string& pcpath, std::uint64_t size,
                                  FileTimestamp modified, FileTimestamp created,
                                  const std::u16string& status, const std::u16string& albums);

}  // namespace zlk
