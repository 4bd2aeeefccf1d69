// Fuzzes the parser of the scripts by which modules register: keys must have names of one
// component, and errors the number of a line.

#include "platform/components/RegistryScript.h"

#include "fuzz/Input.h"
#include "platform/text.h"

using namespace zlk;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const RegistrarWord words[] = {{u"MODULE", u"/opt/a module's.so"}, {u"APPID", u""}};
    try {
        for (const platform::ScriptRoot& root :
             platform::parseRegistryScript(wideText(input.narrow(4096)), words)) {
            for (const platform::ScriptKey& key : root.keys) {
                fuzz::require(!key.name.empty() && key.name.find(u'\\') == key.name.npos);
            }
        }
    } catch (const platform::ScriptError& error) {
        fuzz::require(error.line > 0);
    }
    return 0;
}
