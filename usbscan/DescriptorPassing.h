#pragma once
// A descriptor that goes along with bytes on a Unix socket.

#include <sys/socket.h>

#include <cstddef>
#include <cstring>

#include "platform/descriptor.h"

namespace zlk::usbscan {

inline constexpr std::size_t descriptorRoom = CMSG_SPACE(sizeof(int));

/// `control` lasts as long as the message.
inline void attach(msghdr& message, char (&control)[descriptorRoom], int descriptor) {
    message.msg_control = control;
    message.msg_controllen = descriptorRoom;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
}

/// Of a received message with room for one; empty if none came.
inline Descriptor attachedTo(msghdr& message) {
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    int descriptor = -1;
    if (header && header->cmsg_type == SCM_RIGHTS &&
        header->cmsg_len == CMSG_LEN(sizeof descriptor))
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    return Descriptor(descriptor);
}

}  // namespace zlk::usbscan
