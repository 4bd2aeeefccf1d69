#include "platform/component_module.h"
#include "siblings/drive_mapper/DriveMapper.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_DriveMapper, zlk::createObject<zlk::DriveMapper>, 1},
};

}  // namespace

ZLK_COMPONENT_MODULE(classes)
