#include "tools/samplecard/SampleCard.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/samplecard/ExifWriter.h"
#include "tools/samplecard/JpegFile.h"
#include "tools/samplecard/Scene.h"

namespace fs = std::filesystem;

namespace {

constexpr char maker[] = "Zephyr-Lanthorn";
constexpr char model[] = "Glimmerbox 539";
constexpr int quality = 88;

struct Resolution {
    int width, height;
};
// The pictures have these sizes by turns.
constexpr std::array<Resolution, 4> resolutions{
    {{2048, 1536}, {640, 480}, {1600, 1200}, {1280, 960}}};
constexpr Resolution thumbnailSize{160, 120};

template <class... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    std::array<char, 256> text;
    const int length = std::snprintf(text.data(), text.size(), pattern, arguments...);
    return {text.data(), std::min<std::size_t>(length, text.size() - 1)};
}

/// What the camera's clock shows at a shot: local time without a zone. The shots are about seven
/// minutes apart.
std::tm clockAt(int shot) {
    std::tm time{};
    time.tm_year = 2006 - 1900;
    time.tm_mon = 6;
    time.tm_mday = 15;
    time.tm_hour = 10;
    time.tm_min = shot * 7;
    time.tm_sec = shot * 13 % 60;
    time.tm_isdst = -1;
    std::mktime(&time);  // carries minutes over into hours and days
    return time;
}

/// The file gets the time that the camera's clock showed, since listings report the file's time as
/// the picture's.
void writeFile(const fs::path& path, std::span<const std::uint8_t> bytes, std::tm written) {
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) throw std::runtime_error("can't write " + path.string());
    const auto time = std::chrono::system_clock::from_time_t(std::mktime(&written));
    fs::last_write_time(path, std::chrono::file_clock::from_sys(time));
}

void writeText(const fs::path& path, const std::string& text, std::tm written) {
    writeFile(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, written);
}

/// Turns an upright picture to what the sensor sees when the camera is held on its side. The
/// sensor's top row is the right edge of the upright picture for EXIF orientation 6, and its left
/// edge for 8.
Raster lyingOnSide(Raster& seen, int orientation) {
    Raster lying(seen.height, seen.width);
    for (int y = 0; y < lying.height; ++y) {
        for (int x = 0; x < lying.width; ++x) {
            const std::uint8_t* from = orientation == 6 ? seen.pixel(seen.width - 1 - y, x)
                                                        : seen.pixel(y, seen.height - 1 - x);
            std::copy_n(from, 3, lying.pixel(x, y));
        }
    }
    return lying;
}

Raster shoot(const Scene& scene, Resolution resolution, int orientation) {
    // A portrait is drawn upright first, in swapped sizes.
    if (orientation == 1) return scene.draw(resolution.width, resolution.height);
    Raster seen = scene.draw(resolution.height, resolution.width);
    return lyingOnSide(seen, orientation);
}

/// Every fourth picture is a portrait. The camera is turned one way for the first, the other way
/// for the next, and so on by turns.
int orientationOf(int shot) {
    return shot % 4 != 2 ? 1 : shot % 8 == 2 ? 6 : 8;
}

std::vector<std::uint8_t> takePicture(int shot, std::mt19937& random) {
    const Scene scene(random);
    const Resolution resolution = resolutions[shot % resolutions.size()];
    const std::tm time = clockAt(shot);
    ShotData data{maker, model, {}, orientationOf(shot), resolution.width, resolution.height, {}};
    data.date = format("%04d:%02d:%02d %02d:%02d:%02d", time.tm_year + 1900, time.tm_mon + 1,
                       time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
    data.thumbnail = encodeJpeg(shoot(scene, thumbnailSize, data.orientation), quality, {});
    return encodeJpeg(shoot(scene, resolution, data.orientation), quality, exifBlock(data));
}

/// Writes all pictures and returns their paths below the card's root, with slashes.
std::vector<std::string> writePictures(const CardPlan& plan) {
    std::mt19937 random(plan.seed);
    // The folders are called 100CAM to 999CAM, so there can be at most 900.
    const int perFolder = std::max(8, (plan.pictures + 899) / 900);
    std::vector<std::string> paths;
    for (int shot = 0; shot < plan.pictures; ++shot) {
        const std::string folder = format("DCIM/%03dCAM", 100 + shot / perFolder);
        fs::create_directories(plan.folder / folder);
        paths.push_back(folder + format("/PICT%04d.JPG", shot + 1));
        writeFile(plan.folder / paths.back(), takePicture(shot, random), clockAt(shot));
    }
    return paths;
}

/// The print order: two copies of the first picture, one of the last.
std::string printOrder(const std::vector<std::string>& paths) {
    std::string order = "[HDR]\r\nGEN REV = 01.10\r\n";
    order += format("GEN CRT = \"%s\"\r\nGEN DTM = 2006:07:15:18:00:00\r\n", model);
    const auto job = [&order](int number, int copies, const std::string& path) {
        order += format("\r\n[JOB]\r\nPRT PID = %03d\r\nPRT TYP = STD\r\nPRT QTY = %03d\r\n",
                        number, copies);
        order += "IMG FMT = EXIF2 -J\r\n<IMG SRC = \"../" + path + "\">\r\n";
    };
    job(1, 2, paths.front());
    job(2, 1, paths.back());
    return order;
}

/// The intent file, in which the camera asks that one picture be sent. Cameras of this maker write
/// paths with backslashes.
std::string intent(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
           "<intent><send><file>\\" +
           path + "</file><to>Oma &amp; Opa Lindqvist-Márai</to></send></intent>\r\n";
}

// The menu has a character that XML escapes and others beyond ASCII, to show that they survive.
constexpr char shareMenu[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
    "<shareMenu><entry id=\"1\">Oma &amp; Opa Lindqvist-Márai</entry>"
    "<entry id=\"2\">Zoë</entry></shareMenu>\r\n";

constexpr char deviceId[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
    "<deviceId><manufacturer>Zephyr-Lanthorn</manufacturer><model>Glimmerbox 539</model>"
    "<serial>ZL539-0004711</serial><fwversion>1.0204</fwversion></deviceId>\r\n";

}  // namespace

void writeSampleCard(const CardPlan& plan) {
    // Nothing is written if the folder may be a real card.
    for (const char* taken : {"DCIM", "MISC"}) {
        if (fs::exists(plan.folder / taken)) {
            throw std::runtime_error((plan.folder / taken).string() + " is there already");
        }
    }
    const std::vector<std::string> paths = writePictures(plan);
    const fs::path misc = plan.folder / "MISC";
    fs::create_directories(misc);
    // The documents were written after the last picture.
    const std::tm evening = clockAt(plan.pictures);
    writeText(misc / "AUTPRINT.MRK", printOrder(paths), evening);
    writeText(misc / "INTENT.XML", intent(paths.front()), evening);
    writeText(misc / "SHAREOLD.XML", shareMenu, evening);
    writeText(misc / "DEVICEID.XML", deviceId, evening);
}
