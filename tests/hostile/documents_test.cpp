// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Policy files that are made to harm, read by every function of the library that reads policies, and by
// treskctl: time and memory are bounded, nothing is run, written or fetched, and no terminal obeys.
//
// TRESK_HOSTILE_BYTES sets the size of the large files (16 MiB). TRESK_HOSTILE_REPORT, set to anything,
// prints what each reading took beside its bounds.
#include "tests/hostile/calls.h"
#include "tests/hostile/expected_programs.h"
#include "tests/hostile/hostile_texts.h"
#include "tests/hostile/watched.h"
#include "tests/support/policy_files.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xinclude.h>
#include <netinet/in.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tresk::test {

namespace {

namespace fs = std::filesystem;

// --- the five policies and their readers ---

struct Reader {
    const char* symbol;
    std::size_t texts;
    std::function<void(Given)> call;
};

template <class Function>
Reader reader(const char* symbol, Function* function)
{
    return {symbol, texts_of(function), caller(function)};
}

#define READER(function) reader(#function, function)

struct Policy {
    /// What treskctl calls it.
    const char* object;
    std::string file;
    std::string root;
    /// Around the entries, inside of the root.
    std::string open;
    std::string close;
    /// An entry with this attribute value and this text.
    std::function<std::string(const std::string& name, const std::string& text)> entry;
    std::vector<Reader> readers;
    /// The largest record that one entry becomes.
    std::size_t record;
    /// The first text of every reader; empty: what it looks for.
    std::string first_text;
};

std::string element(const std::string& name, const std::string& text)
{
    return "<" + name + ">" + text + "</" + name + ">";
}

const std::vector<Policy>& policies()
{
    static const std::vector<Policy> table{
        {"ppro",
         "/etc/tresk/ppro/ppro.xml",
         "ppro_root",
         "",
         "",
         [](const std::string& name, const std::string& text) {
             return "<ppro_node path=\"" + name + "\">" + element("hash", text) +
                    "<type>1</type></ppro_node>";
         },
         {READER(tresk_ppro_read_all_data), READER(tresk_ppro_read_all_data_sm),
          READER(tresk_ppro_read_all_data_internal), READER(tresk_ppro_read_all_data_zdk),
          READER(tresk_ppro_read_all_data_with_file), READER(tresk_ppro_read_all_data_with_file_sm),
          READER(tresk_ppro_read_all_data_with_file_zdk), READER(tresk_ppro_read_node_with_path),
          READER(tresk_ppro_read_node_with_path_sm), READER(tresk_ppro_read_node_with_path_internal),
          READER(tresk_ppro_read_node_with_path_zdk), READER(tresk_ppro_read_node_with_hash_zdk),
          READER(tresk_ppro_check_in_sm), READER(tresk_ppro_get_same_node_by_hash)},
         sizeof(ppro_node_info),
         ""},
        {"pblk",
         "/etc/tresk/pblk/pblk.xml",
         "pblk_root",
         "",
         "",
         [](const std::string& name, const std::string& text) {
             return "<pblk_node path=\"" + name + "\">" + element("hash", text) + "</pblk_node>";
         },
         {READER(tresk_pblk_read_all_data), READER(tresk_pblk_read_all_data_zdk),
          READER(tresk_pblk_read_all_data_with_file), READER(tresk_pblk_read_all_data_with_file_zdk),
          READER(tresk_pblk_read_node_with_path), READER(tresk_pblk_read_node_with_path_zdk),
          READER(tresk_pblk_read_node_with_hash_zdk), READER(tresk_pblk_get_same_node_by_hash)},
         sizeof(pblk_node_info),
         ""},
        {"netctl",
         "/etc/tresk/netctl/netctl.xml",
         "tresk_root",
         "<tresk_user userID=\"2\">",
         "</tresk_user>",
         [](const std::string& name, const std::string& text) {
             return "<tresk_node path=\"" + name + "\">" + element("hash", text) +
                    "<type>1</type><name>n</name><ico>i</ico><server_type>0</server_type></tresk_node>";
         },
         {READER(tresk_netctl_read_all_data), READER(tresk_netctl_read_all_data_inner),
          READER(tresk_netctl_read_all_data_with_uid), READER(tresk_netctl_read_all_data_with_uid_inner),
          READER(tresk_netctl_ext_read_all_data_with_uid),
          READER(tresk_netctl_ext_read_all_data_with_uid_inner), READER(tresk_netctl_read_node_with_uid),
          READER(tresk_netctl_ext_read_node_with_uid), READER(tresk_netctl_get_user_distinguish)},
         sizeof(netctl_ext_node_info),
         ""},
        {"pkg",
         "/etc/tresk/netctl/netctl_pkg.xml",
         "tresk_root",
         "<tresk_user userID=\"2\">",
         "</tresk_user>",
         [](const std::string& name, const std::string& text) {
             return "<tresk_node pkg=\"" + name + "\"><type>1</type>" + element("ico", text) +
                    "<desktop>d</desktop><server_type>0</server_type></tresk_node>";
         },
         {READER(tresk_netctl_pkg_read_all_data_with_uid),
          READER(tresk_netctl_pkg_read_all_data_with_uid_inner), READER(tresk_netctl_pkg_read_node_with_uid),
          READER(tresk_netctl_pkg_path_read_node_with_uid)},
         sizeof(netctl_pkg_path_node_info),
         ""},
        {"bwlist",
         "/etc/tresk/bwlist/bwlist.xml",
         "tresk_root",
         "<tresk_bwlist bw_value=\"white\">",
         "</tresk_bwlist>",
         [](const std::string& name, const std::string& text) {
             return "<tresk_node rpm_name=\"" + name + "\" data_source_type=\"1\" data_source_name=\"\">" +
                    text + "</tresk_node>";
         },
         {READER(tresk_bwlist_select_by_rpm_name_zdk), READER(_bwlist_unite_select_by_rpm_name),
          READER(_bwlist_independence_select_by_rpm_name)},
         0,
         "white"},
    };
    return table;
}

TEST(HostileDocuments, AreReadByEveryReaderOfPolicies)
{
    // Of devices and network hashes there is no document, and the readers of them have other names.
    const std::regex name(
        R"(\b(tresk_(?:ppro|pblk|netctl)_\w*read_\w+|tresk_\w+_get_same_node_by_hash|)"
        R"(tresk_ppro_check_in_sm|tresk_netctl_get_user_distinguish|\w*bwlist\w*_select_\w+);)");
    const std::string map = read_file(TRESK_MAP).value();
    std::set<std::string> exported;
    for (std::sregex_iterator found(map.begin(), map.end(), name), end; found != end; ++found) {
        exported.insert((*found)[1]);
    }
    std::set<std::string> table;
    for (const Policy& policy : policies()) {
        for (const Reader& reader : policy.readers) {
            table.insert(reader.symbol);
        }
    }
    EXPECT_EQ(table, exported);
}

// --- what they must not touch ---

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// Counts how often a file, or one of a folder's files, is opened.
class OpenCounter {
  public:
    explicit OpenCounter(const std::string& path) : watch_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    {
        // With the closings between them, so that the kernel does not take two openings for one.
        if (::inotify_add_watch(watch_.get(), path.c_str(), IN_OPEN | IN_CLOSE) < 0) {
            fail("inotify_add_watch");
        }
    }

    /// Since the last time.
    [[nodiscard]] std::size_t opened() const
    {
        constexpr std::size_t kRoom = 4096;
        alignas(inotify_event) std::array<char, kRoom> events{};
        std::size_t number = 0;
        for (ssize_t length = 0; (length = ::read(watch_.get(), events.data(), events.size())) > 0;) {
            for (std::size_t at = 0; at < static_cast<std::size_t>(length);) {
                inotify_event event{};
                std::memcpy(&event, events.data() + at, sizeof event);
                number += (event.mask & IN_OPEN) != 0 ? 1 : 0;
                at += sizeof event + event.len;
            }
        }
        return number;
    }

  private:
    Descriptor watch_;
};

constexpr const char* kBaits = "/data/baits";
constexpr const char* kContentOfSecret = "what nobody may read";

/// A file that nobody may open, and a port of this machine to which nobody may connect.
class Baits {
  public:
    Baits()
        : counter_((write_file(secret(), std::string("<!-- ") + kContentOfSecret + " -->"), kBaits)),
          server_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(server_.get(), generic, size) != 0 || ::listen(server_.get(), 1) != 0 ||
            ::getsockname(server_.get(), generic, &size) != 0) {
            fail("a listening socket");
        }
        port_ = ntohs(address.sin_port);
    }

    static std::string secret() { return std::string(kBaits) + "/secret"; }

    [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/x"; }

    /// All that a document could call the secret or the server.
    [[nodiscard]] std::vector<std::string> addresses() const
    {
        return {url(), "file://" + secret(), secret(), "../../.." + secret()};
    }

    /// Whether the secret was opened since the last time.
    [[nodiscard]] bool opened() const { return counter_.opened() != 0; }

    /// Whether somebody connected since the last time.
    [[nodiscard]] bool connected() const
    {
        return static_cast<bool>(Descriptor(::accept4(server_.get(), nullptr, nullptr, SOCK_CLOEXEC)));
    }

    /// Hangs up on everybody who connects, until refuse(); whether there was somebody.
    [[nodiscard]] bool hang_up() const
    {
        constexpr int kNoTimeout = -1;
        bool was_connected = false;
        pollfd waiting{server_.get(), POLLIN, 0};
        while (::poll(&waiting, 1, kNoTimeout) == 1 && connected()) {
            was_connected = true;
        }
        return was_connected;
    }

    void refuse() const { ::shutdown(server_.get(), SHUT_RDWR); }

  private:
    OpenCounter counter_;
    Descriptor server_;
    std::uint16_t port_ = 0;
};

// --- the documents ---

std::string repeated(const std::string& text, std::size_t times)
{
    std::string whole;
    whole.reserve(text.size() * times);
    for (std::size_t time = 0; time < times; ++time) {
        whole += text;
    }
    return whole;
}

/// The piece for each number below @times.
std::string numbered(std::size_t times, const std::function<std::string(const std::string& number)>& piece)
{
    std::string whole;
    for (std::size_t number = 0; number < times; ++number) {
        whole += piece(std::to_string(number));
    }
    return whole;
}

/// There is such a file: some readers look for no other.
constexpr const char* kHarmless = "/usr/bin/env";

/// The policy with @content among its entries, and one harmless entry behind it.
std::string document(const Policy& policy, const std::string& type, const std::string& content)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + type + "<" + policy.root + ">" + policy.open +
           content + policy.entry(kHarmless, "text") + policy.close + "</" + policy.root + ">\n";
}

std::string type(const Policy& policy, const std::string& declarations, const std::string& external = "")
{
    return "<!DOCTYPE " + policy.root + " " + external + "[" + declarations + "]>\n";
}

/// Each entity ten times the one before it.
std::string laughs()
{
    constexpr std::size_t kLevels = 9;
    std::string before = "laughter";
    return numbered(kLevels, [&](const std::string& number) {
        const std::string entity = "<!ENTITY e" + number + " \"" + repeated(before, 10) + "\">";
        before = "&e" + number + ";";
        return entity;
    });
}

constexpr std::size_t kHundredThousand = 100'000;

std::string external(const Policy& policy, const std::string& address)
{
    return document(policy,
                    type(policy,
                         "<!ENTITY g SYSTEM \"" + address + "\"><!ENTITY % p SYSTEM \"" + address + "\">%p;",
                         "PUBLIC \"-//x//y\" \"" + address + "\" "),
                    policy.entry("/external", "&g;") + "&g;");
}

std::string include(const Policy& policy, const std::string& address)
{
    return document(
        policy, "<?xml-stylesheet type=\"text/xsl\" href=\"" + address + "\"?>\n",
        policy.entry("/included", "<xi:include xmlns:xi=\"http://www.w3.org/2001/XInclude\" href=\"" +
                                      address + "\" parse=\"text\"/>"));
}

/// A list of addresses of the document's own, and something to look up in it.
std::string catalog(const Policy& policy, const std::string& address)
{
    return document(policy,
                    "<?oasis-xml-catalog catalog=\"" + address + "\"?>\n" +
                        type(policy, "<!ENTITY g PUBLIC \"-//x//z\" \"urn:publicid:x\">"),
                    policy.entry("/catalog", "&g;"));
}

/// As many attributes as elements of a policy never have.
std::string attributes(std::size_t number)
{
    return "<x" + numbered(number, [](const std::string& index) { return " a" + index + "=\"\""; }) + "/>";
}

std::string declared_attributes(const Policy& policy, std::size_t number, std::size_t elements)
{
    return document(policy,
                    type(policy, numbered(number,
                                          [](const std::string& index) {
                                              return "<!ATTLIST x a" + index + " CDATA \"v\">";
                                          })),
                    repeated("<x/>", elements));
}

std::string escaped(const std::string& text)
{
    std::string whole;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            whole += "&amp;";
            break;
        case '<':
            whole += "&lt;";
            break;
        case '"':
            whole += "&quot;";
            break;
        default:
            whole += letter;
        }
    }
    return whole;
}

std::string entries_of_hostile_texts(const Policy& policy, std::string (*write)(const std::string&))
{
    std::string entries;
    for (const HostileText& hostile : hostile_texts()) {
        entries += policy.entry("/" + write(hostile.text), write(hostile.text)) + "\n";
    }
    return entries;
}

/// Control characters that XML lets a document write as numbers, and some that it does not.
std::string entries_of_characters(const Policy& policy)
{
    std::string entries;
    for (const char* character : {"27", "7", "8", "9", "10", "13", "127", "155", "8238", "8294", "65534"}) {
        const std::string text = std::string("&#") + character + ";FORGED[31m";
        entries += policy.entry("/" + text, text);
    }
    return entries;
}

/// What may be spent on a document: all readers of a policy in one process, and treskctl likewise.
struct Document {
    const char* name;
    std::function<std::string(const Policy&)> make;
    /// Of the processor; twenty times and more of what it takes on a machine with nothing else to do.
    double seconds = 2;
    /// Of memory, as a multiple of the file's size: what a parser's tree costs, beside the records.
    double times_the_file = 16;
    /// A part of its texts that a listing shows: they were there to be printed.
    const char* listed = kForged;
};

std::vector<Document> fetching_documents(const Baits& baits)
{
    std::vector<Document> table;
    for (const std::string& address : baits.addresses()) {
        table.push_back({"entities and types from outside",
                         [=](const Policy& policy) { return external(policy, address); }});
        table.push_back({"inclusion", [=](const Policy& policy) { return include(policy, address); }});
        table.push_back({"a catalog", [=](const Policy& policy) { return catalog(policy, address); }});
    }
    return table;
}

const std::vector<Document>& costly_documents()
{
    static const std::vector<Document> table{
        {"a billion laughs in a text",
         [](const Policy& policy) {
             return document(policy, type(policy, laughs()), policy.entry("/laughs", "&e8;"));
         }},
        {"a billion laughs in an attribute",
         [](const Policy& policy) {
             return document(policy, type(policy, laughs()), policy.entry("&e8;", "text"));
         }},
        {"a long entity, often",
         [](const Policy& policy) {
             return document(policy,
                             type(policy, "<!ENTITY long \"" + std::string(kHundredThousand, 'x') + "\">"),
                             policy.entry("/quadratic", repeated("&long;", 10'000)));
         },
         10, 64},
        {"a long entity in many elements",
         [](const Policy& policy) {
             constexpr std::size_t kElements = 5'000;
             return document(policy,
                             type(policy, "<!ENTITY long \"" + std::string(kHundredThousand, 'x') + "\">"),
                             repeated("<a>&long;</a>", kElements));
         },
         5},
        {"an entity of itself",
         [](const Policy& policy) {
             return document(policy, type(policy, "<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">"),
                             policy.entry("&a;", "&b;"));
         }},
        {"deep nesting",
         [](const Policy& policy) {
             return document(policy, "",
                             repeated("<a>", kHundredThousand) + repeated("</a>", kHundredThousand));
         }},
        {"deep nesting in a text",
         [](const Policy& policy) {
             return document(policy, "",
                             policy.entry("/deep", repeated("<a>", kHundredThousand) +
                                                       repeated("</a>", kHundredThousand)));
         }},
        // The parser compares each attribute of an element with all before it.
        {"many attributes", [](const Policy& policy) { return document(policy, "", attributes(3'000)); }, 10},
        // For each element the parser and the library compare each attribute with all before it.
        {"many declared attributes",
         [](const Policy& policy) { return declared_attributes(policy, 200, 50); }, 10, 64},
        {"a long text",
         [](const Policy& policy) {
             constexpr std::size_t kLength = 4'000'000;
             return document(policy, "", policy.entry("/long", std::string(kLength, 'x')));
         },
         12},
        {"a text longer than the parser takes",
         [](const Policy& policy) {
             constexpr std::size_t kLength = 11'000'000;
             return document(policy, "", policy.entry("/long", std::string(kLength, 'x')));
         },
         12},
        {"many entries",
         [](const Policy& policy) {
             constexpr std::size_t kEntries = 1'000;
             return document(policy, "", numbered(kEntries, [&](const std::string& number) {
                                 return policy.entry("/p" + number, "text");
                             }));
         },
         20, 32},
        {"many empty elements",
         [](const Policy& policy) { return document(policy, "", repeated("a<b/>", 2'000)); }, 40, 512},
        {"many things to complain of",
         [](const Policy& policy) {
             constexpr std::size_t kComplaints = 2'000;
             return document(policy, "", policy.entry("/complaints", repeated("&;", kComplaints)));
         },
         20, 512},
    };
    return table;
}

/// Entries that want to be printed.
const std::vector<Document>& talking_documents()
{
    static const std::vector<Document> table{
        {"hostile texts",
         [](const Policy& policy) { return document(policy, "", entries_of_hostile_texts(policy, escaped)); },
         5, 64},
        {"hostile texts as they are",
         [](const Policy& policy) {
             return document(policy, "",
                             entries_of_hostile_texts(policy, [](const std::string& text) { return text; }));
         },
         5, 64,
         // The first of them ends the attribute.
         "/a'"},
        {"control characters by their numbers",
         [](const Policy& policy) { return document(policy, "", entries_of_characters(policy)); }},
    };
    return table;
}

// --- bounds ---

#ifdef TRESK_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

struct Bounds {
    double seconds;
    long mebibytes;
};

constexpr double kMebibyte = 1U << 20U;

/// A program that does nothing, a multiple of the file, and the records, of which a growing array holds up to
/// twice as many as it needs.
Bounds bounds_of(const Document& hostile, std::size_t file_size, std::size_t records_size)
{
    constexpr double kProgram = 48;
    const double bytes =
        hostile.times_the_file * static_cast<double>(file_size) + 2 * static_cast<double>(records_size);
    return {hostile.seconds, std::lround(kProgram + bytes / kMebibyte)};
}

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t number = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++number;
    }
    return number;
}

/// All that the readers of the policy could hand out of this.
std::size_t size_of_records(const Policy& policy, const std::string& text)
{
    return occurrences(text, "_node ") * policy.record;
}

Limits limits(const Bounds& bounds)
{
    // An address space holds more than is ever touched.
    constexpr unsigned long kUntouched = 512;
    return {.address_space_mebibytes =
                kSanitized ? 0 : static_cast<unsigned long>(bounds.mebibytes) + kUntouched};
}

/// What it took too much of; sanitizers cost more, of memory more than a bound could say.
std::vector<std::string> excess(const Watched& watched, const Bounds& bounds)
{
    constexpr double kSanitizersCost = 10;
    const double seconds = bounds.seconds * (kSanitized ? kSanitizersCost : 1);
    std::vector<std::string> complaints;
    if (watched.seconds > seconds) {
        complaints.push_back(std::to_string(watched.seconds) + " s, allowed " + std::to_string(seconds));
    }
    if (!kSanitized && watched.peak_mebibytes > bounds.mebibytes) {
        complaints.push_back(std::to_string(watched.peak_mebibytes) + " MiB, allowed " +
                             std::to_string(bounds.mebibytes));
    }
    return complaints;
}

void expect_within(const Watched& watched, const Bounds& bounds, const std::string& what)
{
    EXPECT_EQ(excess(watched, bounds), std::vector<std::string>()) << what;
    if (std::getenv("TRESK_HOSTILE_REPORT") != nullptr) {
        std::cout << what << ": " << watched.seconds << " s of " << bounds.seconds << ", "
                  << watched.peak_mebibytes << " MiB of " << bounds.mebibytes << std::endl;
    }
}

// --- reading with the library ---

/// The files that were written, but for what the framework writes: its log, and locks of what it lists.
std::set<std::string> besides_framework(std::set<std::string> files)
{
    const std::regex own(std::string(std::getenv("TRESK_STANDIN_STATE")) +
                         "/(framework\\.log|scene(/[a-z0-9_]+\\.lock)?)");
    std::erase_if(files, [&](const std::string& file) { return std::regex_match(file, own); });
    return files;
}

void write_to(const std::string& file, int stream)
{
    const Descriptor target(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    ::dup2(target.get(), stream);
}

void read_with(const Policy& policy, const Reader& reader)
{
    constexpr int kUser = 2;
    Given given{std::vector<std::string>(reader.texts, kHarmless), kUser};
    const std::string symbol = reader.symbol;
    if (symbol.find("_with_file") != std::string::npos || symbol.ends_with("_inner")) {
        given.texts.front() = policy.file;
    } else if (!policy.first_text.empty()) {
        given.texts.front() = policy.first_text;
    }
    reader.call(given);
}

void expect_harmless_to_readers(const Policy& policy, const std::vector<Reader>& readers,
                                const Bounds& bounds, const std::string& what)
{
    const OpenCounter counter(policy.file);
    const Watched watched = watch(
        [&] {
            // The parser writes what it complains of.
            write_to("/dev/null", STDERR_FILENO);
            for (const Reader& reader : readers) {
                read_with(policy, reader);
            }
        },
        limits(bounds));
    EXPECT_GE(counter.opened(), readers.size()) << what;
    EXPECT_EQ(watched.status, 0) << what;
    EXPECT_EQ(watched.programs, std::set<Words>{}) << what;
    std::set<std::string> written = besides_framework(watched.written);
    written.erase("/dev/null");
    EXPECT_EQ(written, std::set<std::string>{}) << what;
    EXPECT_EQ(watched.connections, std::set<int>{}) << what;
    expect_within(watched, bounds, what);
}

void expect_harmless_to_library(const Policy& policy, const Document& hostile, const Baits& baits)
{
    const std::string what = std::string(policy.object) + ", " + hostile.name + " (library)";
    const std::string text = hostile.make(policy);
    write_file(policy.file, text);
    expect_harmless_to_readers(policy, policy.readers,
                               bounds_of(hostile, text.size(), size_of_records(policy, text)), what);
    EXPECT_FALSE(baits.opened()) << what;
    EXPECT_FALSE(baits.connected()) << what;
    EXPECT_TRUE(read_file(policy.file) == text) << what;
}

TEST(HostileDocuments, MakeTheLibraryFetchNothing)
{
    const Baits baits;
    for (const Policy& policy : policies()) {
        for (const Document& hostile : fetching_documents(baits)) {
            expect_harmless_to_library(policy, hostile, baits);
        }
    }
}

TEST(HostileDocuments, CostTheLibraryLittle)
{
    const Baits baits;
    for (const Policy& policy : policies()) {
        for (const Document& hostile : costly_documents()) {
            expect_harmless_to_library(policy, hostile, baits);
        }
        for (const Document& hostile : talking_documents()) {
            expect_harmless_to_library(policy, hostile, baits);
        }
        fs::remove(policy.file);
    }
}

// --- a reader that does all of it ---

using Tree = Handle<xmlDoc, ::xmlFreeDoc>;

/// Reads what the document wants read, and replaces its entities whatever they cost.
void read_carelessly(const std::string& file)
{
    write_to("/dev/null", STDERR_FILENO);
    ::unsetenv("http_proxy");
    constexpr int kOptions = XML_PARSE_RECOVER | XML_PARSE_NOENT | XML_PARSE_DTDLOAD | XML_PARSE_HUGE;
    const Tree tree(xmlReadFile(file.c_str(), "UTF-8", kOptions));
    if (tree) {
        xmlXIncludeProcess(tree.get());
    }
}

void expect_careless_reader_to_fetch(const std::string& document, const Baits& baits, bool from_server)
{
    const Policy& policy = policies().front();
    write_file(policy.file, document);
    bool connected = false;
    std::thread server([&] { connected = baits.hang_up(); });
    const Watched watched = watch([&] { read_carelessly(policy.file); });
    baits.refuse();
    server.join();
    EXPECT_EQ(watched.status, 0) << document;
    EXPECT_EQ(connected, from_server) << document;
    EXPECT_EQ(watched.connections, from_server ? std::set<int>{AF_INET} : std::set<int>{}) << document;
    EXPECT_EQ(baits.opened(), !from_server) << document;
}

TEST(HostileDocuments, MakeACarelessReaderFetch)
{
    const std::size_t addresses = Baits().addresses().size();
    for (std::size_t index = 0; index < addresses; ++index) {
        for (const auto& make : {external, include}) {
            const Baits baits;
            const std::string address = baits.addresses().at(index);
            const bool from_server = address == baits.url();
            if (!from_server || xmlHasFeature(XML_WITH_HTTP) != 0) {
                expect_careless_reader_to_fetch(make(policies().front(), address), baits, from_server);
            }
        }
    }
}

TEST(HostileDocuments, CostACarelessReaderMoreThanIsAllowed)
{
    if (kSanitized) {
        GTEST_SKIP() << "memory is not bounded under a sanitizer";
    }
    const Policy& policy = policies().front();
    const auto entities =
        std::find_if(costly_documents().begin(), costly_documents().end(), [](const auto& one) {
            return std::string(one.name) == "a long entity in many elements";
        });
    ASSERT_NE(entities, costly_documents().end());
    const std::string text = entities->make(policy);
    write_file(policy.file, text);
    const Bounds bounds = bounds_of(*entities, text.size(), size_of_records(policy, text));
    const Watched careless = watch([&] { read_carelessly(policy.file); }, limits(bounds));
    EXPECT_THAT(excess(careless, bounds), ::testing::Contains(::testing::HasSubstr(" MiB, allowed")));
}

TEST(HostileDocuments, WouldBeCaughtAtWastingTimeRunningAndWriting)
{
    constexpr Bounds kBounds{0.05, 1000};
    const Watched watched = watch([] {
        while (static_cast<double>(std::clock()) / CLOCKS_PER_SEC < 2 * kBounds.seconds) {
        }
        std::ofstream("/data/made");
        ::execl("/bin/true", "true", nullptr);
    });
    EXPECT_EQ(watched.written, std::set<std::string>{"/data/made"});
    EXPECT_EQ(watched.programs, (std::set<Words>{{"true"}}));
    if (!kSanitized) {
        EXPECT_THAT(excess(watched, kBounds), ::testing::ElementsAre(::testing::HasSubstr(" s, allowed")));
    }
}

// --- treskctl ---

constexpr const char* kOutput = "/data/output";
constexpr const char* kErrors = "/data/errors";

/// Runs the program with its output in these files.
[[noreturn]] void become_treskctl(Words words)
{
    write_to(kOutput, STDOUT_FILENO);
    write_to(kErrors, STDERR_FILENO);
    ::setenv("PATH", kTools, 1);
    become(std::move(words));
}

/// Where a control character begins, or a mark that turns or hides a part of a line.
bool is_obeyed(std::string_view rest)
{
    constexpr std::string_view kMarks[] = {"\xe2\x80\x8e", "\xe2\x80\x8f", "\xe2\x80\xaa", "\xe2\x80\xab",
                                           "\xe2\x80\xac", "\xe2\x80\xad", "\xe2\x80\xae", "\xe2\x81\xa6",
                                           "\xe2\x81\xa7", "\xe2\x81\xa8", "\xe2\x81\xa9"};
    const auto byte = [rest](std::size_t at) { return static_cast<unsigned char>(rest[at]); };
    if (rest.front() != '\n' && (byte(0) < 0x20 || byte(0) == 0x7f)) {
        return true;
    }
    const bool second_set = rest.size() > 1 && byte(0) == 0xc2 && byte(1) < 0xa0;
    return second_set || std::any_of(std::begin(kMarks), std::end(kMarks),
                                     [rest](std::string_view mark) { return rest.starts_with(mark); });
}

/// What a terminal could obey, or where a line of somebody else's begins; empty where there is none.
std::string harm_of(const std::string& text)
{
    if (g_utf8_validate_len(text.data(), text.size(), nullptr) == FALSE) {
        return "no UTF-8, or a NUL";
    }
    if (text.starts_with(kForged) || text.find(std::string("\n") + kForged) != std::string::npos) {
        return "a line that a text began";
    }
    constexpr std::size_t kContext = 100;
    const auto is_plain = [](char byte) { return byte >= ' ' && byte <= '~'; };
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!is_plain(text[at]) && is_obeyed(std::string_view(text).substr(at))) {
            return "at byte " + std::to_string(at) + ": " + text.substr(at, kContext);
        }
    }
    return "";
}

TEST(HostileDocuments, WouldBeCaughtAtPrintingWhatTerminalsObey)
{
    for (const char* text : {"a\x1b[31m", "a\x07", "a\rb", "a\tb", "\x7f", "\xc2\x9b", "\xe2\x80\xae",
                             "\xe2\x81\xa6", "\xff", "a\nFORGED b", "FORGED"}) {
        EXPECT_NE(harm_of(text), "") << text;
    }
    EXPECT_NE(harm_of(std::string("a\0b", 3)), "");
    EXPECT_EQ(harm_of("plain \xc3\xa4 \xe2\x82\xac a FORGED text\n"), "");
}

void expect_harmless_output(const Words& arguments, const std::string& what)
{
    for (const char* file : {kOutput, kErrors}) {
        const std::string text = read_file(file).value();
        EXPECT_EQ(harm_of(text), "") << what;
        EXPECT_EQ(text.find(kContentOfSecret), std::string::npos) << what;
    }
    if (arguments.back() == "--json") {
        EXPECT_TRUE(nlohmann::json::accept(read_file(kOutput).value())) << what;
    }
}

void expect_harmless_to_treskctl(const Words& arguments, const Baits& baits, const Bounds& bounds,
                                 const std::string& document)
{
    std::string what = document + ":";
    for (const std::string& word : arguments) {
        what += " " + word;
    }
    Words words{TRESKCTL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Watched watched = watch([&] { become_treskctl(words); }, limits(bounds));
    // Done; a question answered with no; a policy that is wrong.
    EXPECT_THAT((std::set<int>{0, 1, 9}), ::testing::Contains(watched.status))
        << what << "\n"
        << read_file(kErrors).value_or("");
    for (const Words& program : watched.programs) {
        EXPECT_TRUE(program == words || is_expected_program(program)) << what << ": " << program.front();
    }
    std::set<std::string> written = besides_framework(watched.written);
    written.erase(kOutput);
    written.erase(kErrors);
    EXPECT_EQ(written, std::set<std::string>{}) << what;
    EXPECT_EQ(watched.connections, std::set<int>{}) << what;
    EXPECT_FALSE(baits.opened()) << what;
    EXPECT_FALSE(baits.connected()) << what;
    expect_within(watched, bounds, what);
    expect_harmless_output(arguments, what);
}

/// Policies as if they were one.
struct Sizes {
    std::size_t files = 0;
    std::size_t records = 0;
};

Sizes write_all(const std::function<std::string(const Policy&)>& make)
{
    Sizes sizes;
    for (const Policy& policy : policies()) {
        const std::string text = make(policy);
        write_file(policy.file, text);
        sizes.files += text.size();
        sizes.records += size_of_records(policy, text);
    }
    return sizes;
}

/// @forms: options behind each command, which say how it prints
void expect_all_harmless_to_treskctl(const Document& hostile, const std::vector<Words>& forms,
                                     const Baits& baits)
{
    std::vector<Words> commands{{"verify"}, {"doctor"}, {"export"}};
    for (const Policy& policy : policies()) {
        commands.push_back({policy.object, "list"});
    }
    const Sizes sizes = write_all(hostile.make);
    const Bounds bounds = bounds_of(hostile, sizes.files, sizes.records);
    for (const Words& command : commands) {
        for (const Words& form : forms) {
            Words arguments = command;
            arguments.insert(arguments.end(), form.begin(), form.end());
            expect_harmless_to_treskctl(arguments, baits, bounds, hostile.name);
        }
    }
}

TEST(HostileDocuments, AreListedLikeOthersWhereTheyAreHarmless)
{
    make_tools();
    for (const Policy& policy : policies()) {
        write_file(policy.file, document(policy, "", policy.entry("/another", "text")));
        const Watched watched = watch([&] { become_treskctl({TRESKCTL_PROGRAM, policy.object, "list"}); });
        EXPECT_EQ(watched.status, 0) << read_file(kErrors).value();
        EXPECT_THAT(read_file(kOutput).value(),
                    ::testing::AllOf(::testing::HasSubstr("/another"), ::testing::HasSubstr(kHarmless)));
    }
}

TEST(HostileDocuments, MakeTreskctlFetchNothing)
{
    make_tools();
    const Baits baits;
    for (const Document& hostile : fetching_documents(baits)) {
        write_all(hostile.make);
        const Bounds bounds = bounds_of(hostile, 0, 0);
        for (const Words& arguments :
             std::vector<Words>{{"ppro", "list"}, {"verify"}, {"doctor"}, {"export"}}) {
            expect_harmless_to_treskctl(arguments, baits, bounds, hostile.name);
        }
    }
}

TEST(HostileDocuments, CostTreskctlLittle)
{
    make_tools();
    const Baits baits;
    for (const Document& hostile : costly_documents()) {
        expect_all_harmless_to_treskctl(hostile, {{}}, baits);
    }
}

TEST(HostileDocuments, ReachNoTerminal)
{
    make_tools();
    const Baits baits;
    for (const Document& hostile : talking_documents()) {
        expect_all_harmless_to_treskctl(hostile, {{}, {"--json"}}, baits);
        // The last was a listing.
        EXPECT_THAT(read_file(kOutput).value(), ::testing::HasSubstr(hostile.listed)) << hostile.name;
    }
}

// --- large files ---

std::size_t large()
{
    const char* wanted = std::getenv("TRESK_HOSTILE_BYTES");
    constexpr std::size_t kUsual = std::size_t{16} << 20U;
    return wanted == nullptr ? kUsual : std::stoul(wanted);
}

constexpr std::size_t kLargeEntries = 2'000;

/// A file that is all harmless entries, so long; as many in a larger file.
void write_large(const Policy& policy)
{
    const std::string text(large() / kLargeEntries, 'x');
    fs::create_directories(fs::path(policy.file).parent_path());
    std::ofstream file(policy.file, std::ios::trunc);
    file << "<" << policy.root << ">" << policy.open;
    for (std::size_t number = 0; number < kLargeEntries; ++number) {
        file << policy.entry("/p" + std::to_string(number), text) << "\n";
    }
    file << policy.entry(kHarmless, "text") << policy.close << "</" << policy.root << ">\n";
    ASSERT_TRUE(file.flush());
}

Bounds bounds_of_large(double seconds_for_mebibyte, std::size_t record)
{
    const double seconds = 2 + seconds_for_mebibyte * static_cast<double>(large()) / kMebibyte;
    constexpr double kTimesTheFile = 8;
    return bounds_of({"large", nullptr, seconds, kTimesTheFile}, large(), (kLargeEntries + 1) * record);
}

TEST(HostileDocuments, OfGreatSizeAreBoundedByTheirSize)
{
    constexpr double kSecondsForMebibyte = 0.1;
    for (const Policy& policy : policies()) {
        write_large(policy);
        for (const Reader& reader : policy.readers) {
            expect_harmless_to_readers(policy, {reader}, bounds_of_large(kSecondsForMebibyte, policy.record),
                                       std::string(reader.symbol) + " of " + std::to_string(large()));
        }
        fs::remove(policy.file);
    }
}

TEST(HostileDocuments, OfGreatSizeEndTreskctlAsTheManualSays)
{
    make_tools();
    const Baits baits;
    write_all([](const Policy& policy) { return document(policy, "", ""); });
    const Policy& policy = policies().front();
    write_large(policy);
    constexpr double kSecondsForMebibyte = 3;
    for (const Words& arguments : std::vector<Words>{{"ppro", "list"}, {"verify"}, {"doctor"}, {"export"}}) {
        expect_harmless_to_treskctl(arguments, baits, bounds_of_large(kSecondsForMebibyte, policy.record),
                                    std::to_string(large()) + " bytes");
    }
}

} // namespace

} // namespace tresk::test
