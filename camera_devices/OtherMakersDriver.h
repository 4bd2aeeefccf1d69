#pragma once
// The PTP initiator for cameras of other makers, which may differ from our own models. This table
// has its work-arounds, and also those of other classes and functions, which stand in parentheses.
// The first three are used only after a camera has refused the plain way, and then hold for the
// connection. The others are decided anew for each list, file or object:
//
//     parameters     commands are sent with their trailing zeros, which our own models don't want
//     counting       the list of handles is counted, where GetNumObjects isn't supported
//     formats        the descriptions are compared, where a list can't be asked for by format
//     folders        the contents of each folder are asked for, unless a list had an object of that
//                    folder (ObjectWalk)
//     pieces         an object of 20 to 255 MiB is read whole, where GetPartialObject isn't
//                    supported (CPTPCameraDev::refusesPieces)
//     refusals       an object whose description is refused doesn't end the list (isOfOneObject)

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
    /// Lists all objects, and selects those of this format by their descriptions. An object whose
    /// description is refused is left out.
    std::vector<std::uint32_t> filteredByInfo(std::uint32_t storage, std::uint32_t format,
                                              std::uint32_t parent);

    bool countsHandles = false;  // GetNumObjects isn't supported
    bool filtersItself = false;  // lists by format aren't supported
};

/// Whether a failure concerns a single object, so that it makes sense to ask for the others.
bool isOfOneObject(PTPCommErrors failure);

}  // namespace zlk
