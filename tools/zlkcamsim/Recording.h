#pragma once
// What a recorded device is, and what it has answered to what.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "tools/recording/RecordingReader.h"
#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Model.h"

namespace zlk::camsim {

/// Bytes of one transfer from the device.
struct RecordedPiece {
    Bytes bytes;               ///< as far as they were recorded
    std::uint32_t length = 0;  ///< with those that weren't
    bool endsTransfer = false;
};

struct RecordedAnswer {
    /// What came behind it all.
    enum class End {
        Complete,
        Silence,  ///< nothing, until the host gave up
        Stall
    };

    std::uint32_t commandId = 0;
    std::vector<RecordedPiece> pieces;
    std::size_t piecesOfResponse = 0;     ///< the first so many have all of it
    std::vector<std::uint64_t> idPlaces;  ///< where, in all their bytes, ids of containers stand
    End end = End::Complete;
    std::optional<Code> response;
    std::vector<Bytes> events;  ///< that came meanwhile
};

struct Recording {
    /// An operation, and its parameters but for trailing zeros.
    using Question = std::pair<Code, std::vector<std::uint32_t>>;

    Bytes deviceDescriptor, configuration;
    std::map<std::uint8_t, Bytes> strings;  ///< descriptors, by their index
    std::uint16_t packetSize = 0;           ///< of the bulk pipes
    std::map<Question, std::vector<RecordedAnswer>> answers;
    std::set<Code> takeData;  ///< operations with a data phase from the host

    Identity identity() const;
};

/// Of the first still-image device in it. Throws RecordingError: also where nothing says what the
/// device is, or answers have more than 256 MiB.
Recording readRecording(RecordingReader& reader);

}  // namespace zlk::camsim
