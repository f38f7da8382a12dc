// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/crash/service_operations.h"

#include "standin/service/families.h"

#include <stdexcept>

namespace tresk::test {

namespace {

const service::Method& method_of(const std::string& word, const std::string& name)
{
    for (const service::MethodTable& table : service::method_tables()) {
        for (const service::Method& method : table.methods) {
            if (word == table.word && name == method.name) {
                return method;
            }
        }
    }
    throw std::invalid_argument("no method " + word + " " + name);
}

service::Variant parsed(const service::Method& method, const std::string& text)
{
    const std::string type = "(" + std::string(method.input) + ")";
    GVariant* tuple = g_variant_parse(G_VARIANT_TYPE(type.c_str()), text.c_str(), nullptr, nullptr, nullptr);
    if (tuple == nullptr) {
        throw std::invalid_argument(text);
    }
    return service::Variant(tuple);
}

} // namespace

bool call_method(const service::Folders& folders, const std::string& word, const std::string& method,
                 const std::string& arguments)
{
    const service::Method& called = method_of(word, method);
    const service::Variant input = parsed(called, arguments);
    const service::Variant output = called.handler(folders, input.get());
    return std::string(called.output) != "i" || service::integer_at(output.get(), 0) == service::kDone;
}

} // namespace tresk::test
