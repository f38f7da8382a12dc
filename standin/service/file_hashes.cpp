// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The hashes of files: SHA-256 of the content as hexadecimal digits. What a calculation finds is stored, by
// the path as it was given, as a line "HASH PATH" of the state file "file_hashes", where the path's
// backslashes and line feeds are written \\ and \n. A calculation that fails leaves what was stored before.
#include "standin/service/argument_check.h"
#include "standin/service/atomic_file.h"
#include "standin/service/descriptor.h"
#include "standin/service/digest.h"
#include "standin/service/families.h"
#include "standin/service/number_table.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <map>
#include <sstream>
#include <system_error>
#include <vector>

namespace tresk::service {

namespace {

// --- the stored hashes ---

/// From a path to its hash.
using Hashes = std::map<std::string, std::string>;

std::filesystem::path hashes_file(const Folders& folders)
{
    return folders.state / "file_hashes";
}

std::string escaped(const std::string& path)
{
    std::string text;
    for (const char character : path) {
        if (character == '\n') {
            text += "\\n";
        } else {
            text += character == '\\' ? "\\\\" : std::string(1, character);
        }
    }
    return text;
}

std::string unescaped(std::string_view text)
{
    std::string path;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\' && at + 1 < text.size()) {
            ++at;
            path += text[at] == 'n' ? '\n' : text[at];
        } else {
            path += text[at];
        }
    }
    return path;
}

bool is_hash_and_path(const std::string& line)
{
    return line.find_first_not_of("0123456789abcdef") == kDigestDigits && line[kDigestDigits] == ' ' &&
           line.size() > kDigestDigits + 1;
}

Hashes read_hashes(const Folders& folders)
{
    Hashes hashes;
    std::istringstream lines(read_whole(hashes_file(folders)).value_or(""));
    for (std::string line; std::getline(lines, line);) {
        if (!is_hash_and_path(line)) {
            refuse_line(hashes_file(folders), line);
        }
        hashes[unescaped(std::string_view(line).substr(kDigestDigits + 1))] = line.substr(0, kDigestDigits);
    }
    return hashes;
}

void write_hashes(const Folders& folders, const Hashes& hashes)
{
    std::string content;
    for (const auto& [path, hash] : hashes) {
        content += hash + " " + escaped(path) + "\n";
    }
    write_whole(hashes_file(folders), content);
}

/// Stores what was @calculated; an empty text is no hash.
void store(const Folders& folders, const Hashes& calculated)
{
    Hashes hashes = read_hashes(folders);
    const Hashes before = hashes;
    for (const auto& [path, hash] : calculated) {
        if (!hash.empty()) {
            hashes[path] = hash;
        }
    }
    if (hashes != before) {
        write_hashes(folders, hashes);
    }
}

// --- the calculation ---

void require_absolute(const std::string& path)
{
    require(path.starts_with('/'), "the path is not absolute");
}

[[noreturn]] void refuse_file(const std::string& path, const std::string& reason)
{
    throw Refusal(error_name::kFileAttribute, path + ": " + reason);
}

[[noreturn]] void refuse_unreadable(const std::string& path)
{
    refuse_file(path, std::generic_category().message(errno));
}

/// Not to be held up by a pipe without a writer, the file is opened before it is known to be a regular one.
std::string hash_of_file(const std::string& path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
        refuse_unreadable(path);
    }
    if (!S_ISREG(status.st_mode)) {
        refuse_file(path, "not a regular file");
    }
    const std::optional<std::string> hash = sha256_of_content(file.get());
    if (!hash) {
        refuse_unreadable(path);
    }
    return *hash;
}

/// The file's hash, or an empty text where there is none.
std::string hash_if_any(const std::string& path)
{
    try {
        require_absolute(path);
        return hash_of_file(path);
    } catch (const Refusal&) {
        return {};
    }
}

// --- the methods ---

Variant text(const std::string& value)
{
    return own(g_variant_new("(s)", value.c_str()));
}

std::vector<std::string> paths_at(GVariant* arguments, gsize index)
{
    const Variant member(g_variant_get_child_value(arguments, index));
    std::vector<std::string> paths;
    for (gsize at = 0; at < g_variant_n_children(member.get()); ++at) {
        paths.push_back(text_at(member.get(), at));
    }
    return paths;
}

/// One hash for each path, in the paths' order.
Variant hashes_of(const std::vector<std::string>& paths, const Hashes& hashes)
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_STRING_ARRAY);
    for (const std::string& path : paths) {
        const auto found = hashes.find(path);
        g_variant_builder_add(&builder, "s", found == hashes.end() ? "" : found->second.c_str());
    }
    return own(g_variant_new("(as)", &builder));
}

Variant calculate(const Folders& folders, GVariant* arguments)
{
    const std::string path = text_at(arguments, 0);
    require_absolute(path);
    const std::string hash = hash_of_file(path);
    store(folders, {{path, hash}});
    return text(hash);
}

Variant calculate_each(const Folders& folders, GVariant* arguments)
{
    const std::vector<std::string> paths = paths_at(arguments, 0);
    Hashes hashes;
    for (const std::string& path : paths) {
        hashes[path] = hash_if_any(path);
    }
    store(folders, hashes);
    return hashes_of(paths, hashes);
}

Variant stored(const Folders& folders, GVariant* arguments)
{
    const std::string path = text_at(arguments, 0);
    require_absolute(path);
    return text(read_hashes(folders)[path]);
}

Variant each_stored(const Folders& folders, GVariant* arguments)
{
    return hashes_of(paths_at(arguments, 0), read_hashes(folders));
}

} // namespace

std::span<const Method> file_hash_methods()
{
    static constexpr std::array methods{
        Method{"tresk_xattr_calc_hash_by_path", "s", "s", calculate},
        Method{"tresk_xattr_get_file_hash_value", "s", "s", stored, Access::kOpen},
        Method{"tresk_xattr_calc_multi_file_hash_value", "as", "as", calculate_each},
        Method{"tresk_xattr_get_multi_file_hash_value", "as", "as", each_stored, Access::kOpen},
    };
    return methods;
}

} // namespace tresk::service
