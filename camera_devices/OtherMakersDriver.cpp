#include "camera_devices/OtherMakersDriver.h"

#include "camera_devices/ObjectWalk.h"

namespace zlk {
namespace {

/// Whether this is one of the ways in which cameras refuse a filter that they don't support, or a
/// command with too few parameters.
bool refusesParameters(PTPCommErrors refusal) {
    return refusal == PTP_FORMAT_FILTER_NOT_SUPPORTED || refusal == PTP_PARAMETER_NOT_SUPPORTED ||
           refusal == PTP_OPERATION_NOT_SUPPORTED || refusal == PTP_INVALID_PARAMETER;
}

}  // namespace

std::uint32_t OtherMakersDriver::getNumberObjects(std::uint32_t storage, std::uint32_t format,
                                                  std::uint32_t parent) {
    if (!countsHandles) {
        try {
            return ZlPTPdrv::getNumberObjects(storage, format, parent);
        } catch (PTPCommErrors refusal) {
            if (refusal != PTP_OPERATION_NOT_SUPPORTED) throw;
            countsHandles = true;
        }
    }
    return static_cast<std::uint32_t>(getObjectHandles(storage, format, parent).size());
}

std::vector<std::uint32_t> OtherMakersDriver::getObjectHandles(std::uint32_t storage,
                                                               std::uint32_t format,
                                                               std::uint32_t parent) {
    if (format == 0 || !filtersItself) {
        try {
            return sentHandles(storage, format, parent);
        } catch (PTPCommErrors refusal) {
            if (format == 0 || !refusesParameters(refusal)) throw;
            filtersItself = true;
        }
    }
    return filteredByInfo(storage, format, parent);
}

std::vector<std::uint32_t> OtherMakersDriver::sentHandles(std::uint32_t storage,
                                                          std::uint32_t format,
                                                          std::uint32_t parent) {
    std::vector<std::uint32_t> handles = ZlPTPdrv::getObjectHandles(storage, format, parent);
    // Even an empty list is sent as data, with its number of elements.
    if (receivedData() == 0) throw PTP_NO_RESPONSE;
    return handles;
}

std::vector<std::uint32_t> OtherMakersDriver::filteredByInfo(std::uint32_t storage,
                                                             std::uint32_t format,
                                                             std::uint32_t parent) {
    std::vector<std::uint32_t> matching;
    ObjectWalk walk(*this, storage, parent, true);
    while (const auto handle = walk.next()) {
        try {
            const ObjectInfoDataset object = getObjectInfo(*handle);
            walk.described(*handle, object);
            if (object.ObjectFormat == format) matching.push_back(*handle);
        } catch (PTPCommErrors failure) {
            if (!isOfOneObject(failure)) throw;
        }
    }
    return matching;
}

bool OtherMakersDriver::mayMissParameters(PTPCommErrors refusal) const {
    return refusesParameters(refusal);
}

bool isOfOneObject(PTPCommErrors failure) {
    constexpr std::uint32_t firstResponse = 0x2000;
    switch (failure) {
        // These concern the session, the storage or the transaction. All other response codes are
        // taken to concern the object. Codes below 0x2000 concern the connection.
        case PTP_SESSION_NOT_OPEN:
        case PTP_INVALID_TRANSACTION_ID:
        case PTP_STORE_NOT_AVAILABLE:
        case PTP_SESSION_ALREADY_OPEN:
        case PTP_TRANSACTION_CANCELLED:
            return false;
        default:
            return failure >= firstResponse;
    }
}

}  // namespace zlk
