#include "HeaderWriter.h"

#include <cstdio>

namespace zlk::idl {
namespace {

std::string guidText(const Guid& id) {
    char text[128];
    std::snprintf(text, sizeof text,
                  "{0x%02X%02X%02X%02X, 0x%02X%02X, 0x%02X%02X, "
                  "{0x%02X, 0x%02X, 0x%02X, 0x%02X, 0x%02X, 0x%02X, 0x%02X, 0x%02X}}",
                  id[0], id[1], id[2], id[3], id[4], id[5], id[6], id[7], id[8], id[9], id[10],
                  id[11], id[12], id[13], id[14], id[15]);
    return text;
}

const char* typeText(Type type) {
    switch (type) {
        case Type::Bstr:
            return "BSTR";
        case Type::Long:
            return "LONG";
        case Type::Short:
            return "SHORT";
        case Type::ULong:
            return "ULONG";
        case Type::Byte:
            return "BYTE";
        case Type::Variant:
            return "VARIANT";
    }
    return "";
}

std::string commentText(const std::vector<std::string>& lines, const char* indent) {
    std::string text;
    for (const std::string& line : lines)
        text += indent + (line.empty() ? std::string("///") : "/// " + line) + "\n";
    return text;
}

std::string methodText(const Method& method) {
    std::string name = method.name;
    if (method.kind == MethodKind::PropGet) name = "get_" + name;
    if (method.kind == MethodKind::PropPut) name = "put_" + name;
    std::string parameters;
    for (const Parameter& parameter : method.parameters) {
        if (!parameters.empty()) parameters += ", ";
        parameters += typeText(parameter.type);
        parameters += (parameter.pointer ? "* " : " ") + parameter.name;
    }
    return commentText(method.comment, "    ") + "    virtual HRESULT " + name + "(" + parameters +
           ") noexcept = 0;\n";
}

std::string interfaceText(const Interface& interface) {
    const std::string& name = interface.name;
    std::string text = commentText(interface.comment, "") + "struct " + name + " : " +
                       (interface.dual ? "IDispatch" : "IUnknown") + " {\n";
    for (const Method& method : interface.methods) text += methodText(method);
    return text + "\n  protected:\n    ~" + name + "() = default;\n};\ntemplate <>\n" +
           "inline constexpr GUID iidOf<" + name + ">" + guidText(interface.id) + ";\n\n";
}

}  // namespace

std::string writeHeader(const File& file, const std::string& source) {
    std::string text =
        "#pragma once\n// Made by the build from " + source +
        ", which is the place for changes.\n\n#include \"platform/automation.h\"\n\n";
    for (const Interface& interface : file.interfaces) text += interfaceText(interface);
    text += commentText(file.library.comment, "") + "inline constexpr GUID LIBID_" +
            file.library.name + guidText(file.library.id) + ";\n";
    for (const Coclass& coclass : file.library.coclasses)
        text += commentText(coclass.comment, "") + "inline constexpr GUID CLSID_" + coclass.name +
                guidText(coclass.id) + ";\n";
    return text;
}

}  // namespace zlk::idl
