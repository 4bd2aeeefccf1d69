#pragma once
// What may differ with cameras of other makers. Each of it is tried only where a camera has refused
// the plain way, and holds for the connection:
//
//     parameters     commands with their trailing zeros, which our own models don't want
//     counting       the list of handles, where GetNumObjects isn't supported
//     formats        the descriptions, where a list can't be asked for by format
//     folders        each folder asked for what it holds, where a list shows the root alone
//                    (ObjectWalk)
//     pieces         an object above 20 MiB whole, where GetPartialObject isn't supported
//                    (CPTPCameraDev::refusesPieces)
//     one object     refused, and the others go on (isOfOneObject)

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
    /// As the camera lists them, and never an empty list that it hasn't sent: to the engine an
    /// answer without data is an empty list.
    std::vector<std::uint32_t> sentHandles(std::uint32_t storage, std::uint32_t format,
                                           std::uint32_t parent);
    std::vector<std::uint32_t> filteredByInfo(std::uint32_t storage, std::uint32_t format,
                                              std::uint32_t parent);

    bool countsHandles = false;
    bool filtersItself = false;
};

/// Whether a failure says something of one object alone, so that the others are worth asking for.
bool isOfOneObject(PTPCommErrors failure);

}  // namespace zlk
