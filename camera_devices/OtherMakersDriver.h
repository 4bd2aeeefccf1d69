#pragma once
// The initiator for cameras of other makers, whose deviations it works around. The first three
// work-arounds are tried only after a camera has refused the plain way, and then hold for the
// connection; the others are decided anew for each list, file and object:
//
//     parameters     commands are sent with their trailing zeros, which our own models don't want
//     counting       the list of handles is counted, where GetNumObjects isn't supported
//     formats        the descriptions are compared, where a list can't be asked for by format
//     folders        each folder is asked for its contents, where a list has only the root's
//                    (ObjectWalk)
//     pieces         an object above 20 MiB is read whole, where GetPartialObject isn't supported
//                    (CPTPCameraDev::refusesPieces)
//     one object     is refused, and the others are listed all the same (isOfOneObject)

#include <vector>

#include "ptp/ZlPTPdrv.h"

namespace zlk {

class OtherMakersDriver : public ZlPTPdrv {
  public:
    using ZlPTPdrv::ZlPTPdrv;

    std::uint32_t getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                   std::uint32_t parent) override;
    std::vector<std::uint32_t> getObjectHandles(std::uint32_t storage, std::uint32_t format,
                                                std::uint32_t parent) override;

  protected:
    bool mayMissParameters(PTPCommErrors refusal) const override;

  private:
    /// The handles as the camera lists them. If it sends no list at all, this throws; the base
    /// class would return an empty list.
    std::vector<std::uint32_t> sentHandles(std::uint32_t storage, std::uint32_t format,
                                           std::uint32_t parent);
    /// Lists all objects, and selects those of this format by their descriptions.
    std::vector<std::uint32_t> filteredByInfo(std::uint32_t storage, std::uint32_t format,
                                              std::uint32_t parent);

    bool countsHandles = false;  // GetNumObjects isn't supported
    bool filtersItself = false;  // lists by format aren't supported
};

/// Whether a failure concerns a single object, so that it makes sense to ask for the others.
bool isOfOneObject(PTPCommErrors failure);

}  // namespace zlk
