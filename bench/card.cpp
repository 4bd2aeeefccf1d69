// Measures the main jobs on a device through the registered component. Prints seconds.
//   list CONTEXT_ID               lists the device; also prints the number of files, and the growth
//                                 of peak memory in KiB
//   save CONTEXT_ID FILE TARGET   copies one file
//   unload CONTEXT_ID FOLDER N    copies the objects 1 to N of a camera
// The second for which a listing lets a card settle is left out.

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ZlkCamTr.h"
#include "platform/clock.h"
#include "platform/text.h"

using namespace zlk;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The peak of this process's memory so far.
long peakKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// A progress callback that does nothing. It lives on the stack, so references aren't counted.
struct Silent : IProgressCallback {
    HRESULT QueryInterface(const GUID&, void**) noexcept override { return E_NOINTERFACE; }
    ULONG AddRef() noexcept override { return 1; }
    ULONG Release() noexcept override { return 1; }
    HRESULT UpdateProgress(LONG) noexcept override { return S_OK; }
    virtual ~Silent() = default;
};

int fail(IPhotoDevice* device, const char* what) {
    LONG code = 0;
    device->get_ErrorCode(&code);
    std::fprintf(stderr, "%s: ErrorCode %d\n", what, code);
    return 1;
}

/// Counts elements instead of parsing the document, which would use memory of its own.
std::size_t countFiles(std::u16string_view xml) {
    std::size_t files = 0;
    for (std::size_t at = 0; (at = xml.find(u"<file>", at)) != xml.npos; ++at) ++files;
    return files;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    // The walk waits a second before each pass, which says nothing about its speed. So this clock's
    // sleep returns at once.
    setTestClock({.tickCount = nullptr, .sleep = [](DWORD) {}});
    ComPtr<IPhotoDevice> device;
    if (FAILED(device.create(u"ZlkCamTr.UnloadableCamera"))) {
        std::fputs("ZlkCamTr is not registered\n", stderr);
        return 1;
    }
    if (FAILED(device->LockDevice(Bstr(wideText(argv[2])).get())))
        return fail(device.get(), "lock");

    Silent silent;
    auto* progress = reinterpret_cast<VARIANT*>(static_cast<IProgressCallback*>(&silent));
    const std::string_view word = argv[1];
    if (word == "list") {
        const long before = peakKiB();
        const auto start = Clock::now();
        Bstr xml;
        if (FAILED(device->GetFileInfo(progress, xml.out()))) return fail(device.get(), "list");
        std::printf("%.6f %zu %ld\n", secondsSince(start), countFiles(xml.view()),
                    peakKiB() - before);
        return 0;
    }
    if (word == "save" && argc > 4) {
        const auto start = Clock::now();
        if (FAILED(device->SaveFileData(Bstr(wideText(argv[3])).get(),
                                        Bstr(wideText(argv[4])).get(), progress))) {
            return fail(device.get(), "save");
        }
        std::printf("%.6f\n", secondsSince(start));
        return 0;
    }
    if (word == "unload" && argc > 4) {
        const auto start = Clock::now();
        for (int object = 1; object <= std::atoi(argv[4]); ++object) {
            const std::string id = std::to_string(object);
            const std::string target = std::string(argv[3]) + '/' + id;
            if (FAILED(device->SaveFileData(Bstr(wideText(id)).get(), Bstr(wideText(target)).get(),
                                            progress)))
                return fail(device.get(), "unload");
        }
        std::printf("%.6f\n", secondsSince(start));
        return 0;
    }
    return 2;
}
