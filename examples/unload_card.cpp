// Copies all files of the first device into a new folder: unload_card FOLDER
#include <ZlkCamTr.h>
#include <interfaces/IXmlDoc.h>
#include <platform/files.h>
#include <platform/text.h>

#include <cstdio>

int main(int argc, char** argv) {
    zlk::ComPtr<IDeviceList> list;
    zlk::ComPtr<IPhotoDevice> device;
    zlk::ComPtr<IXmlDoc> document;
    zlk::Bstr devices, files;
    const auto text = [&](const std::string& path) {
        zlk::Bstr value;
        document->GetValue(zlk::Bstr(wideText(path)).get(), value.out());
        return std::u16string(value.view());
    };

    // A new folder: SaveFileData empties a file that is there already.
    const std::u16string folder = argc == 2 ? wideText(argv[1]) : u"";
    if (!CreateDirectoryW(folder.c_str(), nullptr)) return std::puts("unload_card NEW-FOLDER"), 1;

    if (FAILED(list.create(u"ZlkCamTr.DeviceList")) || FAILED(document.create(CLSID_XmlDoc)))
        return std::puts("The components aren't registered: zlkcam register"), 2;
    list->get_UnloadDevices(devices.out());
    document->Load(devices.get());
    const std::u16string id = text("devices/device[0]/contextId");
    if (FAILED(device.create(text("devices/device[0]/progId").c_str())))
        return std::puts("No device is attached."), 3;
    if (device->LockDevice(zlk::Bstr(id).get()) != S_OK)
        return std::puts("Another program holds the device."), 4;

    device->GetFileInfo(nullptr, files.out());
    document->Load(files.get());
    for (int i = 0, failures = 0;; ++i) {
        const std::string file = "fileInfo/file[" + std::to_string(i) + "]/";
        const std::u16string source = text(file + "id"), path = text(file + "camerapath");
        if (source.empty()) return failures ? 5 : 0;
        const std::u16string name =
            wideText(std::to_string(i + 1) + "-") + path.substr(path.rfind(u'\\') + 1);
        const std::u16string target = folder + u"/" + name;
        const HRESULT result =
            device->SaveFileData(zlk::Bstr(source).get(), zlk::Bstr(target).get(), nullptr);
        if (result != S_OK) ++failures;
        std::printf("%s %s\n", result == S_OK ? "copied" : "FAILED", utf8Text(name).c_str());
    }
}
