// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/xml_file.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <sstream>

namespace tresk::ctl {

namespace {

using XmlDocument = Handle<xmlDoc, ::xmlFreeDoc>;
using XmlParser = Handle<xmlParserCtxt, ::xmlFreeParserCtxt>;

struct ReleaseText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};

using XmlText = std::unique_ptr<xmlChar, ReleaseText>;

std::string string_of(const xmlChar* text)
{
    return text == nullptr ? std::string() : reinterpret_cast<const char*>(text);
}

/// Finds where each start tag of a document's text begins. The parser's own numbers tell where a tag ends.
class TagFinder {
  public:
    TagFinder(std::string_view text, std::string file) : text_(text), file_(std::move(file)) {}

    /// The place of the next start tag of that name. Where the parser made an element of what is none to
    /// this, the place is @line alone, and the next tag is looked for from where the last one was.
    Place next(std::string_view name, std::size_t line)
    {
        const Position before = position_;
        while (lost_ < kMostLost && skip_to_tag()) {
            const std::string_view found = name_here();
            Place place = place_here();
            step(1 + found.size());
            // A prefix that nothing declares is part of the element's name.
            if (found == name || local(found) == name) {
                return place;
            }
        }
        ++lost_;
        position_ = before;
        return {file_, line, 0};
    }

    /// The place of the declaration of the document's type.
    Place document_type()
    {
        step(std::min(text_.find("<!DOCTYPE"), text_.size()));
        return place_here();
    }

  private:
    struct Position {
        std::size_t at = 0;
        std::size_t line = 1;
        std::size_t line_start = 0;
    };

    [[nodiscard]] Place place_here() const
    {
        return {file_, position_.line, position_.at - position_.line_start + 1};
    }

    static std::string_view local(std::string_view name)
    {
        const std::size_t colon = name.find(':');
        return colon == std::string_view::npos ? name : name.substr(colon + 1);
    }

    void step(std::size_t length)
    {
        for (const std::size_t end = std::min(position_.at + length, text_.size()); position_.at < end;
             ++position_.at) {
            if (text_[position_.at] == '\n') {
                ++position_.line;
                position_.line_start = position_.at + 1;
            }
        }
    }

    bool skip_section(std::string_view start, std::string_view end)
    {
        if (!text_.substr(position_.at).starts_with(start)) {
            return false;
        }
        const std::size_t found = text_.find(end, position_.at + start.size());
        step(found == std::string_view::npos ? text_.size() : found + end.size() - position_.at);
        return true;
    }

    bool skip_to_tag()
    {
        for (;;) {
            const std::size_t found = text_.find('<', position_.at);
            if (found == std::string_view::npos) {
                return false;
            }
            step(found - position_.at);
            const bool skipped = skip_section("<!--", "-->") || skip_section("<![CDATA[", "]]>") ||
                                 skip_section("<?", "?>") || skip_section("<!DOCTYPE", ">") ||
                                 skip_section("</", ">");
            if (!skipped) {
                return true;
            }
        }
    }

    static bool is_name_character(char letter)
    {
        const bool beyond_ascii = (static_cast<unsigned char>(letter) & 0x80U) != 0;
        return beyond_ascii || std::isalnum(static_cast<unsigned char>(letter)) != 0 ||
               std::string_view("._-:").find(letter) != std::string_view::npos;
    }

    [[nodiscard]] std::string_view name_here() const
    {
        const std::string_view rest = text_.substr(position_.at + 1);
        const auto* const end = std::ranges::find_if_not(rest, is_name_character);
        return rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    }

    /// Each of them may cost a look at all of the text.
    static constexpr std::size_t kMostLost = 100;

    std::string_view text_;
    std::string file_;
    Position position_;
    std::size_t lost_ = 0;
};

/// Where the parser was when the element's tag ended.
std::size_t line_of(const xmlNode* node)
{
    return static_cast<std::size_t>(std::max(xmlGetLineNo(const_cast<xmlNode*>(node)), 0L));
}

bool is_text(const xmlNode* node)
{
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

bool says_something(const xmlNode* node)
{
    return is_text(node) && string_of(node->content).find_first_not_of(" \t\r\n") != std::string::npos;
}

/// In the place of a TagFinder where nobody asks for places.
struct NoPlaces {
    static Place next(std::string_view /*name*/, std::size_t /*line*/) { return {}; }
};

template <class Places>
XmlElement element_of(xmlDoc* document, const xmlNode* node, Places& tags)
{
    XmlElement element;
    element.name = string_of(node->name);
    element.place = tags.next(element.name, line_of(node));
    for (const xmlAttr* one = node->properties; one != nullptr; one = one->next) {
        const XmlText value(xmlNodeListGetString(document, one->children, 1));
        element.attributes.emplace_back(string_of(one->name), string_of(value.get()));
    }
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            element.children.push_back(element_of(document, child, tags));
        }
        element.has_own_text = element.has_own_text || says_something(child);
    }
    const XmlText text(xmlNodeGetContent(node));
    element.text = string_of(text.get());
    return element;
}

/// What a parser's handler of complaints needs.
struct Complaints {
    std::string file;
    std::vector<Problem> problems;
};

#if LIBXML_VERSION >= 21200
using XmlComplaint = const xmlError;
#else
using XmlComplaint = xmlError;
#endif

void keep_complaint(void* kept, XmlComplaint* error)
{
    auto& complaints = *static_cast<Complaints*>(kept);
    std::string text = error->message == nullptr ? "" : error->message;
    while (text.ends_with('\n')) {
        text.pop_back();
    }
    complaints.problems.push_back({{complaints.file, static_cast<std::size_t>(std::max(error->line, 0)),
                                    static_cast<std::size_t>(std::max(error->int2, 0))},
                                   std::move(text)});
}

/// The file's text; nothing where it cannot be read, with errno set.
std::optional<std::string> content_of(const std::string& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    if (stream && stream.peek() != std::ifstream::traits_type::eof()) {
        content << stream.rdbuf();
    }
    if (stream.bad() || !stream.is_open()) {
        return std::nullopt;
    }
    return content.str();
}

Failure unreadable(const std::string& file)
{
    const char* const advice = errno == EACCES ? "Run as a user who may read it." : "";
    return {Cause::Policy, std::string("cannot read the policy: ") + std::strerror(errno), {}, file, advice};
}

Failure no_policy(const Place& place, const std::string& why)
{
    return {Cause::Policy, "the file is no policy: " + why, {}, text_of(place), {}};
}

/// @place: of the parser's first complaint
Failure damaged(const Place& place)
{
    return {Cause::Policy,
            "the file is no well-formed XML: entries may be missing behind the damage",
            {},
            text_of(place),
            "Put a copy of it back, or mend it by hand; \"treskctl verify\" tells all that is wrong."};
}

/// Why the document is no policy of that root.
std::optional<Failure> objection(const xmlDoc* document, const xmlNode* root, std::string_view root_name,
                                 TagFinder tags, const std::string& file)
{
    if (root == nullptr) {
        return no_policy({file, 1, 1}, "it holds no document");
    }
    if (string_of(root->name) != root_name) {
        return no_policy(tags.next(string_of(root->name), line_of(root)),
                         "its root is not \"" + std::string(root_name) + "\"");
    }
    // What entities and defaults stand for has no place in the file that could be told.
    if (document->intSubset != nullptr) {
        return no_policy(tags.document_type(),
                         "it declares a document type, as no policy of the service's does");
    }
    return std::nullopt;
}

/// Where nobody asks for them.
void drop_complaint(void* /*kept*/, XmlComplaint* /*error*/) {}

/// The parser's complaints go to @complaints while this lives, or nowhere.
class ComplaintKeeper {
  public:
    ComplaintKeeper() { xmlSetStructuredErrorFunc(nullptr, drop_complaint); }

    explicit ComplaintKeeper(Complaints& complaints)
    {
        xmlSetStructuredErrorFunc(&complaints, keep_complaint);
    }

    ~ComplaintKeeper() { xmlSetStructuredErrorFunc(nullptr, nullptr); }

    ComplaintKeeper(const ComplaintKeeper&) = delete;
    ComplaintKeeper& operator=(const ComplaintKeeper&) = delete;
};

struct Recovered {
    XmlDocument document;
    bool well_formed;
};

constexpr const char* kEncoding = "UTF-8";

XmlParser new_parser()
{
    XmlParser parser(xmlNewParserCtxt());
    if (!parser) {
        throw std::bad_alloc();
    }
    return parser;
}

/// The library's call and options: what a parser recovers of a damaged file also depends on the pieces in
/// which it reads.
XmlDocument recovered(const XmlParser& parser, const std::string& file)
{
    return XmlDocument(
        xmlCtxtReadFile(parser.get(), file.c_str(), kEncoding, XML_PARSE_RECOVER | XML_PARSE_NONET));
}

Recovered recover(const std::string& file, Complaints& complaints)
{
    const XmlParser parser = new_parser();
    const ComplaintKeeper keeper(complaints);
    XmlDocument document = recovered(parser, file);
    return {std::move(document), parser->wellFormed != 0};
}

/// @content: the file's text, for the places
XmlFile parsed(const std::string& file, const std::string& content, std::string_view root_name)
{
    Complaints complaints{file, {}};
    const auto [document, well_formed] = recover(file, complaints);
    const Place first = complaints.problems.empty() ? Place{file, 0, 0} : complaints.problems.front().place;
    const xmlNode* root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    TagFinder tags(content, file);
    XmlFile read{std::nullopt, std::move(complaints.problems),
                 well_formed ? std::nullopt : std::optional(damaged(first)),
                 objection(document.get(), root, root_name, tags, file)};
    if (!read.failure) {
        read.root = element_of(document.get(), root, tags);
    }
    return read;
}

// --- one entry at a time ---

/// Whether it is the root of a policy, as objection() judges.
bool is_root(const xmlParserCtxt& parser, const xmlNode* root, std::string_view root_name)
{
    return string_of(root->name) == root_name && parser.myDoc->intSubset == nullptr;
}

void release_children(xmlNode* parent)
{
    while (parent->children != nullptr) {
        xmlNode* const child = parent->children;
        xmlUnlinkNode(child);
        xmlFreeNode(child);
    }
}

// Later parsers warn of who looks at these members, and the one of Debian 12 offers nothing else for them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

int open_nodes(const xmlParserCtxt& parser)
{
    return parser.nodeNr;
}

bool was_stopped(const xmlParserCtxt& parser)
{
    return parser.disableSAX != 0;
}

#pragma GCC diagnostic pop

/// Looks at the tree while the parser builds it, and has it built no further than wanted.
class TreeWatcher {
  public:
    explicit TreeWatcher(xmlParserCtxt& parser)
        : parser_(parser), begin_(parser.sax->startElementNs), end_(parser.sax->endElementNs)
    {
        parser.sax->startElementNs = begin_element;
        parser.sax->endElementNs = end_element;
        parser._private = this;
    }

    virtual ~TreeWatcher() = default;
    TreeWatcher(const TreeWatcher&) = delete;
    TreeWatcher& operator=(const TreeWatcher&) = delete;

    /// What a function below threw, which may not go through the parser.
    void rethrow() const
    {
        if (thrown_) {
            std::rethrow_exception(thrown_);
        }
    }

  protected:
    /// An element has begun, and has its attributes; the root's depth is 1.
    virtual void begun(xmlNode* node, int depth) = 0;
    /// It is complete.
    virtual void ended(xmlNode* node, int depth) = 0;

    [[nodiscard]] const xmlParserCtxt& parser() const { return parser_; }

    XmlElement element(const xmlNode* node) const
    {
        NoPlaces none;
        return element_of(parser_.myDoc, node, none);
    }

    void stop() { xmlStopParser(&parser_); }

  private:
    static TreeWatcher& watcher_of(void* parser)
    {
        return *static_cast<TreeWatcher*>(static_cast<xmlParserCtxt*>(parser)->_private);
    }

    template <class Call>
    void guarded(Call call)
    {
        try {
            call();
        } catch (...) {
            thrown_ = std::current_exception();
            stop();
        }
    }

    static void begin_element(void* parser, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                              int namespaces, const xmlChar** declared, int attributes, int standard,
                              const xmlChar** given)
    {
        TreeWatcher& watcher = watcher_of(parser);
        const int above = open_nodes(watcher.parser_);
        watcher.begin_(parser, name, prefix, uri, namespaces, declared, attributes, standard, given);
        // Where memory is short, or the elements are too deep, there is no node.
        if (open_nodes(watcher.parser_) > above) {
            watcher.guarded([&] { watcher.begun(watcher.parser_.node, open_nodes(watcher.parser_)); });
        }
    }

    static void end_element(void* parser, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri)
    {
        TreeWatcher& watcher = watcher_of(parser);
        const int depth = open_nodes(watcher.parser_);
        xmlNode* const node = watcher.parser_.node;
        watcher.end_(parser, name, prefix, uri);
        if (node != nullptr) {
            watcher.guarded([&] { watcher.ended(node, depth); });
        }
    }

    xmlParserCtxt& parser_;
    startElementNsSAX2Func begin_;
    endElementNsSAX2Func end_;
    std::exception_ptr thrown_;
};

/// Has nothing built but the root.
class RootFinder final : public TreeWatcher {
  public:
    RootFinder(xmlParserCtxt& parser, std::string_view root_name) : TreeWatcher(parser), name_(root_name) {}

    /// Nothing where it is no policy's.
    std::optional<XmlElement> root;

  private:
    void begun(xmlNode* node, int /*depth*/) override
    {
        if (is_root(parser(), node, name_)) {
            root = element(node);
        }
        stop();
    }

    void ended(xmlNode* /*node*/, int /*depth*/) override {}

    std::string_view name_;
};

/// Hands on what a visitor wants to meet, and releases what is behind it.
class EntryFinder final : public TreeWatcher {
  public:
    EntryFinder(xmlParserCtxt& parser, const XmlShape& shape, XmlVisitor& visitor)
        : TreeWatcher(parser), shape_(shape), visitor_(visitor)
    {
    }

    /// Whether there was a root, and it was a policy's.
    [[nodiscard]] bool found_root() const { return found_root_; }

  private:
    static constexpr int kRootDepth = 1;

    [[nodiscard]] int entry_depth() const { return kRootDepth + (shape_.group.empty() ? 1 : 2); }

    void begun(xmlNode* node, int depth) override
    {
        if (depth == kRootDepth) {
            begin_root(node);
        } else if (depth == kRootDepth + 1 && !shape_.group.empty()) {
            wanted_ =
                root_wanted_ && string_of(node->name) == shape_.group && visitor_.begin_group(element(node));
        }
    }

    void begin_root(const xmlNode* node)
    {
        found_root_ = is_root(parser(), node, shape_.root);
        if (!found_root_) {
            stop();
            return;
        }
        root_wanted_ = visitor_.begin_root(element(node));
        wanted_ = root_wanted_ && shape_.group.empty();
    }

    /// The parser appends to the last text of what an element holds so far: all of it goes, or nothing.
    void ended(xmlNode* node, int depth) override
    {
        if (depth == entry_depth() && wanted_ && string_of(node->name) == shape_.entry) {
            visitor_.take_entry(element(node));
        }
        if (depth > kRootDepth && depth <= entry_depth()) {
            release_children(node->parent);
        }
    }

    XmlShape shape_;
    XmlVisitor& visitor_;
    bool found_root_ = false;
    bool root_wanted_ = false;
    /// What begins next at the depth of entries.
    bool wanted_ = false;
};

/// An open file as the parser reads it.
struct FileReader {
    int file;
    off_t at = 0;
    bool failed = false;

    static int read(void* reader, char* buffer, int length)
    {
        auto& self = *static_cast<FileReader*>(reader);
        ssize_t done = -1;
        do {
            done = ::pread(self.file, buffer, static_cast<std::size_t>(length), self.at);
        } while (done < 0 && errno == EINTR);
        self.failed = self.failed || done < 0;
        self.at += std::max<ssize_t>(done, 0);
        return static_cast<int>(done);
    }
};

bool operator==(const std::timespec& a, const std::timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

std::optional<std::string> XmlElement::attribute(std::string_view wanted) const
{
    const auto found = std::ranges::find(attributes, wanted, [](const auto& one) { return one.first; });
    return found == attributes.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> XmlElement::first_attribute(std::string_view wanted) const
{
    return attributes.empty() || attributes.front().first != wanted
               ? std::nullopt
               : std::optional(attributes.front().second);
}

const XmlElement* XmlElement::last_child(std::string_view wanted) const
{
    const auto found = std::find_if(children.rbegin(), children.rend(),
                                    [wanted](const XmlElement& child) { return child.name == wanted; });
    return found == children.rend() ? nullptr : &*found;
}

XmlFile read_xml(const std::string& file, std::string_view root_name)
{
    const auto content = content_of(file);
    if (!content) {
        return errno == ENOENT ? XmlFile() : XmlFile{std::nullopt, {}, {}, unreadable(file)};
    }
    return content->empty() ? XmlFile() : parsed(file, *content, root_name);
}

std::optional<XmlElement> read_xml_root(const std::string& file, std::string_view root_name)
{
    // The parser alone would take other names for one that is not there.
    if (std::ifstream stream(file, std::ios::binary);
        !stream || stream.peek() == std::ifstream::traits_type::eof()) {
        return std::nullopt;
    }
    const XmlParser parser = new_parser();
    RootFinder finder(*parser, root_name);
    const ComplaintKeeper nobody;
    const XmlDocument document = recovered(parser, file);
    finder.rethrow();
    return std::move(finder.root);
}

std::optional<XmlStream> XmlStream::open(const std::string& file)
{
    struct stat status = {};
    // What is no regular file may wait for whoever opens its other end.
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    const auto state = opened ? state_of(opened) : std::nullopt;
    char first = '\0';
    if (!state || ::pread(opened.get(), &first, 1, 0) != 1 || first != '<') {
        return std::nullopt;
    }
    return XmlStream(std::move(opened), *state);
}

std::optional<XmlStream::State> XmlStream::state_of(const Descriptor& file)
{
    struct stat status = {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode)
               ? std::optional(State{status.st_size, status.st_mtim})
               : std::nullopt;
}

bool XmlStream::is_unchanged() const
{
    const auto state = state_of(file_);
    return state && state->size_bytes == opened_.size_bytes && state->changed == opened_.changed;
}

/// What has to be repaired is read no further: what a repair makes of it is not looked at here.
bool XmlStream::visit(const XmlShape& shape, XmlVisitor& visitor) const
{
    const XmlParser parser = new_parser();
    EntryFinder finder(*parser, shape, visitor);
    const ComplaintKeeper nobody;
    FileReader reader{file_.get()};
    const XmlDocument document(
        xmlCtxtReadIO(parser.get(), FileReader::read, nullptr, &reader, nullptr, kEncoding, XML_PARSE_NONET));
    finder.rethrow();
    return document && parser->wellFormed != 0 && !was_stopped(*parser) && !reader.failed &&
           finder.found_root() && is_unchanged();
}

} // namespace tresk::ctl
