// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/kinds/reading.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <unordered_set>
#include <utility>

namespace tresk::ctl {

namespace {

/// Readers write a source's type into a buffer of this length before they compare it.
constexpr std::size_t kLongestSourceType = 7;

std::string tag(std::string_view name)
{
    return "<" + std::string(name) + ">";
}

/// Those around a number change nothing.
std::string_view without_blanks(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Whether @path could be the name that the system gives a file: symbolic links are not looked at.
bool is_resolved(std::string_view path)
{
    const auto has = [path](std::string_view part) {
        return (std::string(path) + "/").find(part) != std::string::npos;
    };
    return path == "/" ||
           (path.starts_with('/') && !path.ends_with('/') && !has("//") && !has("/./") && !has("/../"));
}

void read_entries_of(Reading& reading, const XmlElement& holder, const XmlShape& shape, PolicyReader& reader)
{
    for (const XmlElement& child : holder.children) {
        if (child.name == shape.entry) {
            reader.read_entry(reading, child);
        }
    }
}

void read_entries(Reading& reading, const XmlElement& root, const XmlShape& shape, PolicyReader& reader)
{
    if (shape.group.empty()) {
        read_entries_of(reading, root, shape, reader);
        return;
    }
    for (const XmlElement& child : root.children) {
        if (child.name == shape.group && reader.read_group(reading, child)) {
            read_entries_of(reading, child, shape, reader);
        }
    }
}

void require_unique(Reading& reading, const Kind& kind)
{
    std::unordered_set<Row, RowHash> seen;
    for (const Entry& entry : reading.entries) {
        if (!seen.insert(key_of(kind, entry)).second) {
            reading.problems.push_back({entry.place, "a second entry of \"" + name_of(kind, entry) + "\""});
        }
    }
}

/// Has a reader read what is met, and keeps none of the entries.
class PassingReader final : public XmlVisitor {
  public:
    PassingReader(PolicyReader& reader, const std::function<void(const Entry&)>& take)
        : reader_(reader), take_(take)
    {
        reading_.judging = false;
    }

    bool begin_root(const XmlElement& root) override
    {
        reader_.read_root(reading_, root);
        return true;
    }

    bool begin_group(const XmlElement& group) override { return reader_.read_group(reading_, group); }

    void take_entry(const XmlElement& entry) override
    {
        reader_.read_entry(reading_, entry);
        std::ranges::for_each(reading_.entries, take_);
        reading_.entries.clear();
    }

  private:
    PolicyReader& reader_;
    const std::function<void(const Entry&)>& take_;
    Reading reading_;
};

/// Only wants to know whether one comes to the end.
class Passer final : public XmlVisitor {
  public:
    bool begin_root(const XmlElement& /*root*/) override { return false; }

    bool begin_group(const XmlElement& /*group*/) override { return false; }

    void take_entry(const XmlElement& /*entry*/) override {}
};

class PolicyStream final : public EntryStream {
  public:
    PolicyStream(XmlStream xml, const XmlShape& shape,
                 std::function<std::unique_ptr<PolicyReader>()> new_reader)
        : xml_(std::move(xml)), shape_(shape), new_reader_(std::move(new_reader))
    {
    }

    bool is_sound() override
    {
        Passer passer;
        return xml_.visit(shape_, passer);
    }

    bool each(const std::function<void(const Entry&)>& take) override
    {
        const std::unique_ptr<PolicyReader> reader = new_reader_();
        PassingReader passing(*reader, take);
        return xml_.visit(shape_, passing);
    }

  private:
    XmlStream xml_;
    XmlShape shape_;
    std::function<std::unique_ptr<PolicyReader>()> new_reader_;
};

} // namespace

Reading read_policy(const std::string& file, const XmlShape& shape, PolicyReader& reader, const Kind& kind)
{
    XmlFile xml = read_xml(file, shape.root);
    Reading reading{{}, std::move(xml.problems), std::move(xml.failure), std::move(xml.damage)};
    if (xml.root) {
        reader.read_root(reading, *xml.root);
        read_entries(reading, *xml.root, shape, reader);
        require_unique(reading, kind);
    }
    return reading;
}

std::unique_ptr<EntryStream> stream_policy(const std::string& file, const XmlShape& shape,
                                           std::function<std::unique_ptr<PolicyReader>()> new_reader)
{
    auto xml = XmlStream::open(file);
    return xml ? std::make_unique<PolicyStream>(std::move(*xml), shape, std::move(new_reader)) : nullptr;
}

void complain(Reading& reading, const XmlElement& element, const std::string& text)
{
    if (reading.judging) {
        reading.problems.push_back({element.place, text});
    }
}

std::int32_t leading_number(const std::string& text)
{
    return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

std::int64_t number_in(Reading& reading, const XmlElement& element, std::string_view what,
                       const std::string& text)
{
    const std::string_view digits = without_blanks(text);
    std::int32_t number = 0;
    const auto [rest, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || rest != digits.data() + digits.size()) {
        number = leading_number(text);
        complain(reading, element,
                 std::string(what) + " \"" + text + "\" is read as " + std::to_string(number));
    }
    return number;
}

std::int64_t source_type_in(Reading& reading, const XmlElement& element,
                            const std::optional<std::string>& text)
{
    constexpr std::int32_t usual = 1;
    if (!text) {
        return usual;
    }
    const std::int32_t number = leading_number(*text);
    if (*text != std::to_string(number) || text->size() > kLongestSourceType) {
        complain(reading, element,
                 "data_source_type \"" + *text + "\" is found under no number: it is no decimal of at most " +
                     std::to_string(kLongestSourceType) + " characters");
    }
    return number;
}

std::optional<std::string> child_text(Reading& reading, const XmlElement& element, std::string_view name)
{
    const auto count = std::ranges::count(element.children, name, &XmlElement::name);
    if (count > 1) {
        complain(reading, element, "more than one " + tag(name) + ": the last one counts");
    }
    const XmlElement* child = element.last_child(name);
    if (child == nullptr) {
        return std::nullopt;
    }
    if (!child->children.empty()) {
        complain(reading, *child, "of the elements in " + tag(name) + " only the text counts");
    }
    return child->text;
}

void require_known(Reading& reading, const XmlElement& element,
                   std::initializer_list<std::string_view> attributes,
                   std::initializer_list<std::string_view> children)
{
    for (const auto& [name, value] : element.attributes) {
        if (std::ranges::find(attributes, name) == attributes.end()) {
            complain(reading, element, "the attribute \"" + name + "\" is overlooked");
        }
    }
    for (const XmlElement& child : element.children) {
        if (std::ranges::find(children, child.name) == children.end()) {
            complain(reading, child, "the element " + tag(child.name) + " is overlooked");
        }
    }
    if (element.has_own_text) {
        complain(reading, element, "the text in " + tag(element.name) + " is overlooked");
    }
}

bool is_entry(Reading& reading, const XmlElement& element, std::string_view identity,
              std::initializer_list<std::string_view> children)
{
    bool lacks_nothing = true;
    const auto object = [&](const std::string& why) {
        complain(reading, element, "no entry: " + why);
        lacks_nothing = false;
    };
    const auto name = element.first_attribute(identity);
    const std::string what = "\"" + std::string(identity) + "\"";
    if (!name) {
        object("its first attribute is not " + what);
    } else if (name->size() > kLongestName) {
        object(what + " is longer than " + std::to_string(kLongestName) + " bytes");
    }
    for (const std::string_view child : children) {
        if (element.last_child(child) == nullptr) {
            object("it has no " + tag(child));
        }
    }
    return lacks_nothing;
}

void require_absolute(Reading& reading, const XmlElement& element, const std::string& path)
{
    if (!path.starts_with('/')) {
        complain(reading, element, "the path is not absolute: no look-up asks for it");
    }
}

void require_resolved(Reading& reading, const XmlElement& element, const std::string& path)
{
    if (!is_resolved(path)) {
        complain(reading, element, "the path is not absolute and plain: no look-up asks for it");
    }
}

void require_hash(Reading& reading, const XmlElement& element, const std::string& hash,
                  const std::function<Malloced<char>()>& hash_of_path)
{
    const Malloced<char> expected = reading.judging ? hash_of_path() : nullptr;
    if (expected && hash != expected.get()) {
        complain(reading, element, "the hash is not the path's: look-ups by hash do not find the entry");
    }
}

std::string fitting(Reading& reading, const XmlElement& element, std::string_view what, std::string text,
                    std::size_t longest)
{
    if (text.size() > longest) {
        complain(reading, element, std::string(what) + " is cut to " + std::to_string(longest) + " bytes");
        text.resize(longest);
    }
    return text;
}

std::string policy_path(const std::string& path)
{
    const Malloced<char> resolved(::realpath(path.c_str(), nullptr));
    const std::string absolute = resolved ? resolved.get() : path;
    for (const std::string folder : {"/home", "/root"}) {
        std::error_code failure;
        const bool bound = absolute.starts_with(folder) &&
                           std::filesystem::equivalent("/data" + folder, folder, failure) && !failure;
        if (bound) {
            return "/data" + absolute;
        }
    }
    return absolute;
}

} // namespace tresk::ctl
