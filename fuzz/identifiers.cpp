// Fuzzes functions that take context ids, device ids, times and paths apart, with arbitrary texts.

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtilFunctions.h"
#include "foundation/FileTimestamp.h"
#include "foundation/Paths.h"
#include "fuzz/Input.h"

using namespace zlk;
using namespace zlk::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::u16string text = input.wide(200);
    std::u16string maker, product, serial;
    // The parts of a context id, joined again, must be its end.
    if (CContextMgrInfo().SplitContextId(text, maker, product, serial)) {
        const std::u16string joined = u"#" + maker + u"#" + product + u"#" + serial;
        require(text.ends_with(joined));
    }
    const CDeviceUtilFunctions functions;
    functions.VidFromDeviceId(text);
    functions.PidFromDeviceId(text);

    // A time that is written and read again must be the same, or at least have the same text.
    FileTimestamp stamp;
    stamp.fromText(text);
    FileTimestamp again;
    again.fromText(stamp.toText());
    require(again.seconds() == stamp.seconds() || again.toText() == stamp.toText());

    // Joining nothing must not make a path longer.
    const std::u16string joined = joinPath(text, input.wide(50));
    require(joinPath(joined, u"").size() <= joined.size());
    fileNamePart(joined);
    dirPart(joined);
    return 0;
}
