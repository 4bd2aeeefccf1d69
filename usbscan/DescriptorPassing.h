#pragma once
// Sends and receives a file descriptor together with bytes on a Unix socket (SCM_RIGHTS).

#include <sys/socket.h>

#include <cstddef>
#include <cstring>

#include "platform/descriptor.h"

namespace zlk::usbscan {

/// Size of the control buffer that a message with one descriptor needs.
inline constexpr std::size_t descriptorRoom = CMSG_SPACE(sizeof(int));

/// Makes sendmsg() pass the descriptor with the message's first byte. `control` has to live as long
/// as the message. The descriptor stays the caller's; the receiver gets a duplicate.
inline void attach(msghdr& message, char (&control)[descriptorRoom], int descriptor) {
    message.msg_control = control;
    message.msg_controllen = descriptorRoom;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
}

/// The descriptor that came with a received message, owned by the caller; empty if none came. The
/// message needs a control buffer of descriptorRoom bytes.
inline Descriptor attachedTo(msghdr& message) {
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    int descriptor = -1;
    if (header && header->cmsg_type == SCM_RIGHTS &&
        header->cmsg_len == CMSG_LEN(sizeof descriptor))
        std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    return Descriptor(descriptor);
}

}  // namespace zlk::usbscan
