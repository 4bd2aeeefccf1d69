#pragma once
// The contents of a recording, for a replay: the device's descriptors, and what the device answered
// to the commands of the recorded host.

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

/// What one read of the host brought: a transfer from the device, or a part of one.
struct RecordedPiece {
    Bytes bytes;               ///< as far as they were recorded
    std::uint32_t length = 0;  ///< in bytes, with those that weren't recorded
    bool endsTransfer = false;
};

/// What the device sent after one command, until the next command, a cancel request or a reset.
struct RecordedAnswer {
    /// What came at the end of the answer.
    enum class End {
        Complete,  ///< the host's next command, or the end of the recording
        Silence,   ///< nothing, until the host cancelled or reset the device
        Stall
    };

    /// The transaction id that the recorded host used.
    std::uint32_t commandId = 0;
    std::vector<RecordedPiece> pieces;
    std::size_t piecesOfResponse = 0;  ///< number of pieces up to the response; 0: it wasn't seen
    std::vector<std::uint64_t> idPlaces;  ///< offsets of containers' ids in the bytes of all pieces
    End end = End::Complete;
    std::optional<Code> response;
    std::vector<Bytes> events;  ///< interrupt transfers that came meanwhile
};

/// The recorded device, ready to be played.
struct Recording {
    /// An operation and its parameters, without zeros at the end.
    using Question = std::pair<Code, std::vector<std::uint32_t>>;

    Bytes deviceDescriptor, configuration;
    std::map<std::uint8_t, Bytes> strings;  ///< descriptors, by their index
    std::uint16_t packetSize = 0;           ///< of the bulk pipes
    /// The answers to each question, in their order.
    std::map<Question, std::vector<RecordedAnswer>> answers;
    std::set<Code> takeData;  ///< operations with a data phase from the host

    /// The identity that the device's descriptors give.
    Identity identity() const;
};

/// Reads what the recording has of the first still-image device in it. Throws RecordingError if the
/// file is damaged, has no descriptors of a still-image device or none of its answers, has more
/// than 256 MiB of answers, or has a transfer of more than 16 MiB or a packet size that USB doesn't
/// know.
Recording readRecording(RecordingReader& reader);

}  // namespace zlk::camsim
