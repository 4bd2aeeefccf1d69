#pragma once
// The viewer's side of the trace log: it sets up the buffer, switches the log on in all processes
// that use the same machine root, and switches it off at its end.
//
//     control block, 16 bytes: enabled u8, 3 bytes, writeOffset u32, bufferSize u32, startTick u32
//
// There is one viewer at a time. Its claim is a named mutex, which disappears with its process. The
// buffer couldn't serve as the claim, because writers may keep it open after the viewer has ended;
// the next viewer then uses it again. A viewer that is killed leaves the log on until the next
// viewer ends, or until the last process that has the log open ends. The log's mutex is only tried
// for a limited time, because a writer that was stopped while it held the mutex must not make the
// viewer deaf to Ctrl-C.

#include "platform/named_objects.h"
#include "tools/zlkcam/TraceReader.h"

namespace zlk {

/// A named section of shared memory, mapped into this process. The constructor makes a section of
/// `bytes` bytes, or opens the one that exists, which keeps its own size. If neither is possible,
/// it throws Failure (FileUnusable).
class SharedView {
  public:
    SharedView(const WCHAR* name, DWORD bytes);
    ~SharedView();
    SharedView(const SharedView&) = delete;
    SharedView& operator=(const SharedView&) = delete;

    std::span<BYTE> bytes() const { return bytes_; }
    /// Whether the section existed before.
    bool existed() const { return existed_; }

  private:
    UniqueHandle section_;
    std::span<BYTE> bytes_;
    bool existed_ = false;
};

/// The only viewer of the log, from construction to destruction. Used by one thread.
class TraceViewer {
  public:
    /// Clears the buffer and switches the log on. Throws Failure: ViewerRunning, or FileUnusable if
    /// the log's objects can't be created or used, or if a program holds the log's mutex for
    /// seconds.
    TraceViewer();
    ~TraceViewer();
    TraceViewer(const TraceViewer&) = delete;
    TraceViewer& operator=(const TraceViewer&) = delete;

    /// Hands what is new to the reader. False if the mutex couldn't be taken; what is new then
    /// waits for the next call.
    bool fetch(TraceReader& reader);
    /// Switches the log off; writers notice at their next record.
    void switchOff();

  private:
    bool tryLock() const;

    // The mutex that says that a viewer runs.
    UniqueHandle claim_;
    // Sixteen bytes: the layout is at the top of this file.
    SharedView control_;
    SharedView buffer_;
    // Held by a writer while it writes a record, and by this viewer while it clears or copies the
    // buffer.
    UniqueHandle mutex_;
};

}  // namespace zlk
