#pragma once

#include <cstdint>
#include <string>

#include "foundation/FileTimestamp.h"
#include "foundation/Xml.h"

namespace zlk {

/// The file list of one device, a `fileInfo` document: a `file` element for each record, with the
/// children id, albums, camerapath, pcpath, size, modified, created and status. Where the XML
/// component can't be made the list stays empty.
class FileInfoList {
  public:
    FileInfoList();

    /// Adds a record behind those that are there. `albums` is an XML fragment, the other texts
    /// are taken as they are. A record that can't be built is left out.
    void addFile(const std::u16string& id, const std::u16string& camerapath,
                 const std::u16string& pcpath, std::uint64_t size, FileTimestamp modified,
                 FileTimestamp created, const std::u16string& status, const std::u16string& albums);

    /// The document; empty on failure.
    std::u16string getXml() const;

  private:
    XmlDocument document;
};

/// One `file` element as a document of its own; empty where any step of it fails.
std::u16string buildFileRecordXml(const std::u16string& id, const std::u16string& camerapath,
                                  const std::u16string& pcpath, std::uint64_t size,
                                  FileTimestamp modified, FileTimestamp created,
                                  const std::u16string& status, const std::u16string& albums);

}  // namespace zlk
