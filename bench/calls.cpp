// Measures the cost of small calls. Some are measured next to the least that they could cost, so
// that bench/table.py can print the difference. Built on Google Benchmark.

#include <benchmark/benchmark.h>

#include "ZlkCamTr.h"
#include "camera_devices/FileInfoList.h"
#include "device_objects/CProgressCallback.h"
#include "directory/CSupportedCameraList.h"
#include "foundation/Registry.h"
#include "foundation/TraceLine.h"
#include "platform/component_object.h"

using namespace zlk;

namespace {

/// Both functions are kept out of line, so that the difference of the two benchmarks is the trace
/// line alone.
[[gnu::noinline]] void emptyCall(int value) {
    benchmark::DoNotOptimize(value);
}

[[gnu::noinline]] void tracingCall(int value) {
    benchmark::DoNotOptimize(value);
    TraceLine("Bench", "value(%d)", value);
}

void EmptyCall(benchmark::State& state) {
    for (auto _ : state) emptyCall(1);
}
BENCHMARK(EmptyCall);

/// The log is off here; TraceLine must then cost next to nothing, because it is on every path.
void TraceLineOff(benchmark::State& state) {
    for (auto _ : state) tracingCall(1);
}
BENCHMARK(TraceLineOff);

/// Creates the object directly. The next benchmark creates it by its class id, through the
/// registered module; the difference is the price of a component.
void NewObject(benchmark::State& state) {
    for (auto _ : state) {
        void* object = nullptr;
        createObject<CProgressCallback>(nullptr, iidOf<IProgressCallback>, &object);
        static_cast<IProgressCallback*>(object)->Release();
    }
}
BENCHMARK(NewObject);

void CreateInstance(benchmark::State& state) {
    for (auto _ : state) {
        ComPtr<IProgressCallback> object;
        if (FAILED(object.create(CLSID_ProgressCallback))) state.SkipWithError("not registered");
    }
}
BENCHMARK(CreateInstance);

/// Claiming a device creates a named mutex that all processes see, and releasing removes it.
void LockAndUnlock(benchmark::State& state) {
    ComPtr<IPhotoDevice> device;
    if (FAILED(device.create(u"ZlkCamTr.UnloadableCamera"))) {
        state.SkipWithError("not registered");
        return;
    }
    const Bstr id(u"#Zephyr-Lanthorn#RemovableDrive#E");
    for (auto _ : state) {
        device->LockDevice(id.get());
        device->UnlockDevice();
    }
}
BENCHMARK(LockAndUnlock)->Unit(benchmark::kMicrosecond);

/// The cheapest call of a component, through its virtual table.
void ReadErrorCode(benchmark::State& state) {
    ComPtr<IPhotoDevice> device;
    if (FAILED(device.create(u"ZlkCamTr.UnloadableCamera"))) {
        state.SkipWithError("not registered");
        return;
    }
    for (auto _ : state) {
        LONG code = 0;
        device->get_ErrorCode(&code);
        benchmark::DoNotOptimize(code);
    }
}
BENCHMARK(ReadErrorCode);

/// The same property through Invoke(), as a script reads it once it knows the id.
void InvokeErrorCode(benchmark::State& state) {
    // The member's id in the type library.
    constexpr DISPID errorCode = 11;
    ComPtr<IDispatch> device;
    if (FAILED(device.create(u"ZlkCamTr.UnloadableCamera"))) {
        state.SkipWithError("not registered");
        return;
    }
    DISPPARAMS none{};
    for (auto _ : state) {
        VARIANT code;
        if (FAILED(device->Invoke(errorCode, GUID{}, 0, DISPATCH_PROPERTYGET, &none, &code, nullptr,
                                  nullptr)))
            state.SkipWithError("not called");
        benchmark::DoNotOptimize(code);
    }
}
BENCHMARK(InvokeErrorCode);

constexpr char16_t baseKey[] = u"Software\\Zephyr-Lanthorn\\PictureSuite";

/// A camera table of realistic size. The rows stay, and writing them again changes nothing.
void writeRows(int count) {
    for (int i = 0; i < count; ++i) {
        const std::u16string name =
            formatText(u"%s\\Bench%03d\\CamInfo", std::u16string(baseKey), i);
        const RegistryKey key(regCreateKey(HKEY_LOCAL_MACHINE, name, KEY_ALL_ACCESS));
        const std::pair<const char16_t*, std::u16string> values[] = {
            {u"MSDC_vendID", u"ZL"},
            {u"MSDC_prodID", formatText(u"BENCH %03d", i)},
            {u"Cam_pnpID", formatText(u"VID_5AF1&PID_%04X", i)},
            {u"Cam_protocol", u"PTP"},
            {u"FriendlyName", formatText(u"Bench camera %d", i)},
            {u"DevType", u"CAMERA"},
            {u"Model", formatText(u"%03d", i)},
            {u"PreCueCamera", u"TRUE"},
            {u"SwiftPostSupport", u"TRUE"},
        };
        for (const auto& [value, text] : values) regWriteString(key.get(), value, text);
    }
}

/// Every device object, and every list of devices with a share menu, reads the table anew.
void SupportedCameraList100Rows(benchmark::State& state) {
    writeRows(100);
    for (auto _ : state) {
        const CSupportedCameraList table;
        if (table.rows().size() < 100) state.SkipWithError("rows are missing");
    }
}
BENCHMARK(SupportedCameraList100Rows)->Unit(benchmark::kMillisecond);

/// The document of a card with as many pictures as the argument says, without reading a card.
void FileInfoDocument(benchmark::State& state) {
    for (auto _ : state) {
        FileInfoList list;
        for (int i = 0; i < state.range(0); ++i) {
            const std::u16string path = formatText(u"\\DCIM\\100CAM\\PICT%05d.JPG", i);
            list.addFile(u"E:" + path, path, u"", 4'000'000, FileTimestamp(1'120'482'309),
                         FileTimestamp(1'120'482'309), u"unknown", u"");
        }
        if (list.getXml().size() < 100) state.SkipWithError("no document");
    }
}
BENCHMARK(FileInfoDocument)->Arg(10'000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
