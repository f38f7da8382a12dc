// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/introspection.h"

#include <string_view>

namespace tresk::service {

namespace {

/// One element per complete type of @signature.
std::string arguments_xml(const char* signature, const char* direction)
{
    std::string xml;
    const char* end = nullptr;
    for (const char* at = signature; g_variant_type_string_scan(at, nullptr, &end); at = end) {
        const std::string type(at, end);
        xml += "      <arg type=\"" + type + "\" direction=\"" + direction + "\"/>\n";
    }
    return xml;
}

std::string method_xml(const Method& method)
{
    return "    <method name=\"" + std::string(method.name) + "\">\n" + arguments_xml(method.input, "in") +
           arguments_xml(method.output, "out") + "    </method>\n";
}

} // namespace

std::string interface_name(const std::string& word)
{
    return "com.meron.tresk." + word;
}

std::string introspection_xml(const std::string& word, const std::vector<const Method*>& methods)
{
    std::string xml = "<node>\n  <interface name=\"" + interface_name(word) + "\">\n" +
                      "    <annotation name=\"com.meron.tresk.Standin\" value=\"development stand-in\"/>\n";
    for (const Method* method : methods) {
        xml += method_xml(*method);
    }
    return xml + "  </interface>\n</node>\n";
}

} // namespace tresk::service
