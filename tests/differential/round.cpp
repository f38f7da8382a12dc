// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"

#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>

#include <cstddef>
#include <fstream>

namespace tresk::test {

namespace {

template <std::size_t size>
void append(std::string& bytes, const char (&field)[size])
{
    bytes.append(field, size);
    bytes += '|';
}

void append(std::string& bytes, std::int32_t number)
{
    bytes += std::to_string(number) + '|';
}

template <class... Fields>
std::string joined(const Fields&... fields)
{
    std::string bytes;
    (append(bytes, fields), ...);
    return bytes;
}

/// All of a file at once: it is done after every call.
std::string content_of(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    std::string content(stream ? static_cast<std::size_t>(stream.tellg()) : 0, '\0');
    stream.seekg(0);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    return stream ? content : "(unreadable)";
}

Files files_in(const std::filesystem::path& folder)
{
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files[entry.path().string()] = content_of(entry.path());
    }
    return files;
}

std::string mode_of(const std::string& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) == 0 ? std::to_string(status.st_mode & 07777) : "none";
}

void leave_an_error()
{
    xmlResetLastError();
    xmlFreeDoc(xmlReadMemory("<", 1, "old", "UTF-8", 0));
}

} // namespace

std::string bytes_of(const netctl_node_data& record)
{
    return joined(record.path, record.hash, record.type);
}

std::string bytes_of(const netctl_node_info& record)
{
    return joined(record.path, record.hash, record.type, record.name, record.ico, record.server_type);
}

std::string bytes_of(const netctl_ext_node_info& record)
{
    return joined(record.path, record.hash, record.type, record.name, record.ico, record.desktop,
                  record.server_type);
}

std::string bytes_of(const netctl_pkg_node_info& record)
{
    return joined(record.pkg, record.type, record.ico, record.desktop, record.server_type);
}

std::string bytes_of(const netctl_pkg_path_node_info& record)
{
    return joined(record.pkg, record.path, record.type, record.ico, record.desktop, record.server_type);
}

std::string bytes_of(const ppro_node_info& record)
{
    return joined(record.path, record.hash, record.type);
}

std::string bytes_of(const pblk_node_info& record)
{
    return joined(record.path, record.hash);
}

std::string shown(const Text& text)
{
    if (!text) {
        return "null";
    }
    return text->size() <= 80
               ? '"' + *text + '"'
               : '"' + text->substr(0, 20) + "...\" of " + std::to_string(text->size()) + " bytes";
}

void Round::add_file(const std::string& path, const std::optional<std::string>& content)
{
    if (content) {
        files[path] = *content;
    }
}

Comparison::Comparison(const Round& round) : round_(round)
{
    std::filesystem::create_directories(round_.folder);
}

/// Puts everything back where a call may have changed it.
void Comparison::begin()
{
    if (!as_written_) {
        for (const auto& entry : files_in(round_.folder)) {
            std::filesystem::remove(entry.first);
        }
        for (const auto& [path, content] : round_.files) {
            write_file(path, content);
        }
        as_written_ = true;
    }
    user_distinguish = round_.distinguish;
    framework().logs.clear();
    framework().errors.clear();
    framework().order.clear();
    if (round_.error_before) {
        leave_an_error();
    } else {
        xmlResetLastError();
    }
}

/// What a call left behind.
std::string Comparison::outcome()
{
    std::string text = "\nuser_distinguish " + std::to_string(user_distinguish) + "\n";
    const Files now = files_in(round_.folder);
    as_written_ = now == round_.files;
    if (!as_written_) {
        for (const auto& [path, content] : now) {
            const auto before = round_.files.find(path);
            const bool same = before != round_.files.end() && before->second == content;
            text +=
                "file " + path + (same ? " as it was" : " mode " + mode_of(path) + " now " + content) + "\n";
        }
    }
    return text;
}

std::string Comparison::library_answer(const Question& question)
{
    begin();
    std::string answer = question.library();
    answer += outcome();
    for (const LogLine& line : framework().logs) {
        answer += "log " + std::to_string(line.level) + " " + line.text + "\n";
    }
    for (const ErrorRecord& error : framework().errors) {
        answer += "error " + std::to_string(error.code) + " " + error.subject.value_or("null") + " " +
                  error.text.value_or("null") + "\n";
    }
    return answer;
}

std::string Comparison::naive_answer(const Question& question, Rule broken)
{
    begin();
    Naive naive{broken, {}, {}};
    std::string answer = question.naive(naive);
    answer += outcome();
    for (const std::string& line : naive.logs) {
        answer += "log 3 " + line + "\n";
    }
    for (const std::string& error : naive.errors) {
        answer += "error " + error + "\n";
    }
    return answer;
}

} // namespace tresk::test
