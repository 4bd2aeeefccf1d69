#include "ptp/ObjectInfoDataset.h"

namespace zlk {

ObjectInfoDataset::ObjectInfoDataset(PtpDataStream& stream) {
    StorageID = stream.readU32();
    ObjectFormat = stream.readU16();
    ProtectionStatus = stream.readU16();
    ObjectCompressedSize = stream.readU32();
    ThumbFormat = stream.readU16();
    ThumbCompressedSize = stream.readU32();
    ThumbPixWidth = stream.readU32();
    ThumbPixHeight = stream.readU32();
    ImagePixWidth = stream.readU32();
    ImagePixHeight = stream.readU32();
    ImageBitDepth = stream.readU32();
    ParentObject = stream.readU32();
    AssociationType = stream.readU16();
    AssociationDesc = stream.readU32();
    SequenceNumber = stream.readU32();
    Filename.assign(stream.readString());
    CaptureDate.assign(stream.readString());
    ModificationDate.assign(stream.readString());
    Keywords.assign(stream.readString());
}

void ObjectInfoDataset::write(PtpDataStream& stream) const {
    stream.writeU32(StorageID);
    stream.writeU16(ObjectFormat);
    stream.writeU16(ProtectionStatus);
    stream.writeU32(ObjectCompressedSize);
    stream.writeU16(ThumbFormat);
    stream.writeU32(ThumbCompressedSize);
    stream.writeU32(ThumbPixWidth);
    stream.writeU32(ThumbPixHeight);
    stream.writeU32(ImagePixWidth);
    stream.writeU32(ImagePixHeight);
    stream.writeU32(ImageBitDepth);
    stream.writeU32(ParentObject);
    stream.writeU16(AssociationType);
    stream.writeU32(AssociationDesc);
    stream.writeU32(SequenceNumber);
    stream.writeString(Filename);
    stream.writeString(CaptureDate);
    stream.writeString(ModificationDate);
    stream.writeString(Keywords);
}

}  // namespace zlk
