#include "camera_devices/FileInfoList.h"

#include "platform/text.h"

namespace zlk {

FileInfoList::FileInfoList() {
    document.addFragment(u"/", u"<fileInfo />");
}

void FileInfoList::addFile(const std::u16string& id, const std::u16string& camerapath,
                           const std::u16string& pcpath, std::uint64_t size, FileTimestamp modified,
                           FileTimestamp created, const std::u16string& status,
                           const std::u16string& albums) {
    // The record is built separately, so that one that fails half way never reaches the list.
    const std::u16string record =
        buildFileRecordXml(id, camerapath, pcpath, size, modified, created, status, albums);
    if (!record.empty()) document.addFragment(u"fileInfo", record);
}

std::u16string FileInfoList::getXml() const {
    return document.xml();
}

std::u16string buildFileRecordXml(const std::u16string& id, const std::u16string& camerapath,
                                  const std::u16string& pcpath, std::uint64_t size,
                                  FileTimestamp modified, FileTimestamp created,
                                  const std::u16string& status, const std::u16string& albums) {
    XmlDocument record;
    const bool built = record.addFragment(u"/", u"<file />") &&  //
                       record.addElement(u"file", u"id", id) &&
                       record.addFragment(u"file", albums.empty() ? u"<albums />" : albums) &&
                       record.addElement(u"file", u"camerapath", camerapath) &&
                       record.addElement(u"file", u"pcpath", pcpath) &&
                       record.addElement(u"file", u"size", formatText(u"%I64u", size)) &&
                       record.addFragment(u"file", modified.toXml(u"modified")) &&
                       record.addFragment(u"file", created.toXml(u"created")) &&
                       record.addElement(u"file", u"status", status);
    return built ? record.xml() : std::u16string();
}

}  // namespace zlk
