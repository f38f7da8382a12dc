// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/document_files.h"

#include "treskctl/input.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace tresk::ctl {

namespace {

constexpr std::array<std::string_view, 3> kExtensions = {".json", ".yaml", ".yml"};
constexpr const char* kAdvice =
    "A document is a FILE, a DIR with files .json, .yaml or .yml, or - for standard input.";

std::string text_of(std::istream& stream)
{
    std::ostringstream text;
    if (stream.peek() != std::istream::traits_type::eof()) {
        text << stream.rdbuf();
    }
    return text.str();
}

/// Nothing, with a failure, where the file cannot be read.
std::optional<std::string> text_in(const std::string& file, std::vector<Failure>& failures)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    const bool opened = stream.is_open();
    std::string text = opened ? text_of(stream) : "";
    if (!opened || stream.bad() || errno != 0) {
        const Cause cause = errno == ENOENT ? Cause::NotFound : Cause::Policy;
        failures.push_back(
            {cause, std::string("cannot read the document: ") + std::strerror(errno), {}, file, kAdvice});
        return std::nullopt;
    }
    return text;
}

/// An editor's hidden leftovers are none.
bool is_drop_in(const std::filesystem::directory_entry& entry)
{
    const std::string name = entry.path().filename().string();
    const bool named =
        std::ranges::any_of(kExtensions, [&](std::string_view end) { return name.ends_with(end); });
    return named && !name.starts_with('.') && !entry.is_directory();
}

std::vector<std::string> drop_ins(const std::string& folder, std::vector<Failure>& failures)
{
    std::vector<std::string> files;
    try {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (is_drop_in(entry)) {
                files.push_back(entry.path().string());
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        failures.push_back(
            {Cause::Policy, "cannot read the directory: " + error.code().message(), {}, folder, kAdvice});
        return {};
    }
    if (files.empty()) {
        failures.push_back({Cause::NotFound, "the directory holds no document", {}, folder, kAdvice});
    }
    std::ranges::sort(files);
    return files;
}

Document document_in(const std::string& file, std::vector<Failure>& failures)
{
    const auto text = text_in(file, failures);
    return text ? read_document(*text, file, failures) : Document();
}

/// Nothing where the run has failed already.
std::optional<Document> load(Run& run, const std::string& name, std::vector<Failure>& failures)
{
    if (name == kStandardInput) {
        const auto text = read_input(run, name);
        return text ? std::optional(read_document(*text, "standard input", failures)) : std::nullopt;
    }
    std::error_code unknown;
    if (!std::filesystem::is_directory(name, unknown)) {
        return document_in(name, failures);
    }
    std::vector<Document> parts;
    for (const std::string& file : drop_ins(name, failures)) {
        parts.push_back(document_in(file, failures));
    }
    return merged(parts, failures);
}

} // namespace

std::optional<Document> load_document(Run& run, const std::string& name)
{
    std::vector<Failure> failures;
    auto document = load(run, name, failures);
    return fail_with(run, std::move(failures)) ? std::nullopt : std::move(document);
}

bool fail_with(Run& run, std::vector<Failure> failures)
{
    const bool any = !failures.empty();
    for (Failure& failure : failures) {
        run.fail(std::move(failure));
    }
    return any;
}

} // namespace tresk::ctl
