#include "platform/component_module.h"
#include "siblings/card_reader/CardReader.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_CardReader, zlk::createObject<zlk::CardReader>, 1},
};

}  // namespace

ZLK_COMPONENT_MODULE(classes)
