#pragma once
// The viewer's side of the trace log: owns the buffer, switches the log on in all processes of the
// machine, and off again when it goes.
//
//     control block, 16 bytes: enabled u8, 3 bytes, writeOffset u32, bufferSize u32, startTick u32
//
// One viewer at a time: its claim is a named object, which goes with the process. The buffer can't
// be that, since writers that once had it keep it; the next viewer uses it again. A viewer that is
// killed leaves the log on until the next one, or until the last process that has it open ends.
// The mutex is only ever tried for: a writer that was stopped while it held it must not take the
// viewer's Ctrl-C away.

#include "platform/named_objects.h"
#include "tools/zlkcam/TraceReader.h"

namespace zlk {

/// A mapped section with an owner.
class SharedView {
  public:
    SharedView(const WCHAR* name, DWORD bytes);
    ~SharedView();
    SharedView(const SharedView&) = delete;
    SharedView& operator=(const SharedView&) = delete;

    std::span<BYTE> bytes() const { return bytes_; }
    bool existed() const { return existed_; }

  private:
    UniqueHandle section_;
    std::span<BYTE> bytes_;
    bool existed_ = false;
};

class TraceViewer {
  public:
    /// Throws Failure: ViewerRunning, or FileUnusable where the objects can't be made.
    TraceViewer();
    ~TraceViewer();
    TraceViewer(const TraceViewer&) = delete;
    TraceViewer& operator=(const TraceViewer&) = delete;

    /// Hands what is new to the reader; false if no moment was found when nobody writes.
    bool fetch(TraceReader& reader);
    void switchOff();

  private:
    bool tryLock() const;

    UniqueHandle claim_;
    SharedView control_;
    SharedView buffer_;
    UniqueHandle mutex_;
};

}  // namespace zlk
