// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_events.h"

#include "common/policy_parser.h"
#include "common/xml_error.h"

#include <libxml/dict.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstddef>
#include <exception>

namespace tresk {

namespace {

constexpr std::size_t kNodeTextBytes = std::size_t{64} * 1024;
constexpr std::size_t kMostParts = 1000;
constexpr std::size_t kLongestRun = std::size_t{1024} * 1024;
constexpr std::size_t kDeepest = 200;

/// A tree keeps the short texts beside the names in the parser's dictionary, which takes no more names once
/// 10 MB are in it. These two together stay below.
constexpr std::size_t kMostShortTexts = std::size_t{8} * 1024 * 1024;
constexpr std::size_t kMostNames = std::size_t{1024} * 1024;
constexpr std::size_t kShortBlanks = 59;
constexpr std::size_t kShortText = 3;

std::string_view view_of(const xmlChar* text) noexcept
{
    return from_xml(text);
}

std::string_view view_of(const xmlChar* begin, const xmlChar* end) noexcept
{
    return {from_xml(begin), static_cast<std::size_t>(end - begin)};
}

/// A carriage return begins no longer text: the parser hands it out alone, from a reference.
bool is_blank(char byte) noexcept
{
    return byte == ' ' || byte == '\n' || byte == '\t';
}

// Later parsers keep the encoding in their context alone and warn of who looks at the input's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/// The parser was told of the encoding, and a document can contradict.
bool is_utf8(const xmlParserCtxt& parser) noexcept
{
    return parser.input != nullptr && parser.input->encoding == nullptr &&
           (parser.encoding == nullptr || xmlStrcasecmp(parser.encoding, to_xml("UTF-8")) == 0);
}

#pragma GCC diagnostic pop

/// The texts of one node, in a block that never moves.
class NodeTexts {
  public:
    void clear() noexcept { used_ = 0; }

    /// False where there is no room.
    bool add(std::string_view text) noexcept
    {
        if (text.size() > kNodeTextBytes - used_) {
            return false;
        }
        text.copy(block_.get() + used_, text.size());
        used_ += text.size();
        return true;
    }

    [[nodiscard]] const char* end() const noexcept { return block_.get() + used_; }

  private:
    std::unique_ptr<char[]> block_{new char[kNodeTextBytes]};
    std::size_t used_ = 0;
};

/// Leaves errno as it was: the parser's failed requests for memory show there, and what a reader does must
/// not hide them.
class KeptErrno {
  public:
    KeptErrno() = default;
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

    ~KeptErrno() { errno = kept_; }

  private:
    int kept_ = errno;
};

/// What libxml2 reports on this thread while it lives goes to @report alone: where the document's tree is
/// asked for it again, the program hears it once.
class CaughtReports {
  public:
    CaughtReports(void* context, xmlStructuredErrorFunc report)
        : handler_(xmlStructuredError), context_(xmlStructuredErrorContext)
    {
        xmlSetStructuredErrorFunc(context, report);
    }

    ~CaughtReports() { xmlSetStructuredErrorFunc(context_, handler_); }

    CaughtReports(const CaughtReports&) = delete;
    CaughtReports& operator=(const CaughtReports&) = delete;

  private:
    xmlStructuredErrorFunc handler_;
    void* context_;
};

/// Makes nodes of the parser's events.
class EventWalk {
  public:
    EventWalk(const char* root, const PolicyWalk& reader)
        : root_(root), reader_(reader), node_depth_(reader.group ? 2 : 1)
    {
    }

    Walked over(const char* file);

  private:
    using Attributes = const xmlChar**; ///< name, prefix, URI, begin and end of the value for each
    static constexpr std::size_t kAttributeParts = 5;

    /// What the parser calls. Nothing may be thrown through it. Apart, so that a part of a node that is left
    /// out costs the callback no frame.
    template <auto Step, class... Arguments>
    [[gnu::noinline]] static void step(void* self, Arguments... arguments) noexcept
    {
        auto* walk = static_cast<EventWalk*>(self);
        if (walk->unusual_) {
            return;
        }
        try {
            (walk->*Step)(arguments...);
        } catch (...) {
            walk->thrown_ = std::current_exception();
            walk->unusual_ = true;
        }
    }

    static void on_start(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                         int namespaces, const xmlChar** declared, int attributes, int defaulted,
                         Attributes values);
    static void on_end(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri);
    static void on_text(void* self, const xmlChar* text, int bytes);
    static void on_comment(void* self, const xmlChar* text);
    static void on_instruction(void* self, const xmlChar* target, const xmlChar* data);

    template <class... Arguments>
    static void on_unusual(void* self, Arguments... /*unread*/) noexcept
    {
        static_cast<EventWalk*>(self)->unusual_ = true;
    }

    template <class... Arguments>
    static xmlEntityPtr on_entity(void* self, Arguments... /*unread*/) noexcept
    {
        static_cast<EventWalk*>(self)->unusual_ = true;
        return nullptr;
    }

    static void on_document_type(void* self, const xmlChar* name, const xmlChar* external,
                                 const xmlChar* system);

    void take_over(xmlParserCtxt& parser);
    [[nodiscard]] bool was_usual(const xmlParserCtxt& parser) const;

    void start_element(const xmlChar* name, std::size_t attributes, Attributes values);
    [[nodiscard]] bool is_left_out(std::size_t attributes, Attributes values) const;
    void start_outer_element(std::size_t depth, const xmlChar* name, std::size_t attributes,
                             Attributes values);
    void start_root();
    void start_group();
    void end_element();
    void add_text(std::string_view text);
    void add_other(NodeKind kind);
    void end_text_run();

    /// Whether nodes at this place are the reader's.
    [[nodiscard]] bool is_walking() const noexcept { return inside_ && !stopped_; }

    void read_head(const xmlChar* name, std::size_t attributes, Attributes values);
    bool add_referring(std::string_view written);
    void add_child(NodeKind kind, std::string_view name);
    void hand_out();
    void hand_out_bare(NodeKind kind);

    /// A tree would keep a short value in the dictionary.
    void count_value(std::size_t bytes) noexcept
    {
        if (bytes <= kShortText) {
            short_texts_ += bytes + 1;
        }
    }

    /// A tree would keep a short text there as well; any text lengthens the run that it belongs to.
    void count_text(std::string_view text) noexcept
    {
        run_ += text.size();
        unusual_ |= run_ > kLongestRun;
        if (text.size() <= kShortText || (text.size() <= kShortBlanks && is_blank(text.front()))) {
            short_texts_ += text.size() + 1;
        }
    }

    /// Within a node that is left out, which is nearly all of a large policy when one entry is looked for.
    void pass_start() noexcept { unusual_ |= depth_++ > kDeepest; }

    void pass_end() noexcept
    {
        run_ = 0;
        left_out_ = --depth_ != node_depth_;
    }

    XmlParser parser_ = new_parser();
    const char* root_;
    const PolicyWalk& reader_;
    std::size_t node_depth_;                   ///< elements around a node
    const xmlChar* sieve_attribute_ = nullptr; ///< the parser's own copy of the name, by which it is known

    std::size_t depth_ = 0; ///< elements open
    bool right_root_ = false;
    bool inside_ = false; ///< of the root or of a group that was entered
    bool stopped_ = false;
    bool left_out_ = false; ///< the node that is open
    bool unusual_ = false;
    std::exception_ptr thrown_;

    NodeTexts texts_;
    PolicyNode node_;
    const char* child_text_ = nullptr;
    std::size_t run_ = 0; ///< bytes of the text that has not ended yet
    std::size_t short_texts_ = 0;
};

void EventWalk::on_start(void* self, const xmlChar* name, const xmlChar* prefix, const xmlChar* /*uri*/,
                         int namespaces, const xmlChar** /*declared*/, int attributes, int /*defaulted*/,
                         Attributes values)
{
    auto* here = static_cast<EventWalk*>(self);
    here->unusual_ |= prefix != nullptr || namespaces != 0;
    if (here->left_out_ && attributes == 0) {
        here->pass_start();
    } else {
        step<&EventWalk::start_element>(self, name, static_cast<std::size_t>(attributes), values);
    }
}

void EventWalk::on_end(void* self, const xmlChar* /*name*/, const xmlChar* /*prefix*/, const xmlChar* /*uri*/)
{
    auto* here = static_cast<EventWalk*>(self);
    if (here->left_out_) {
        here->pass_end();
    } else {
        step<&EventWalk::end_element>(self);
    }
}

void EventWalk::on_text(void* self, const xmlChar* text, int bytes)
{
    auto* here = static_cast<EventWalk*>(self);
    const std::string_view piece = view_of(text, text + bytes);
    here->count_text(piece);
    if (!here->left_out_) {
        step<&EventWalk::add_text>(self, piece);
    }
}

void EventWalk::on_comment(void* self, const xmlChar* /*text*/)
{
    step<&EventWalk::add_other>(self, NodeKind::comment);
}

void EventWalk::on_instruction(void* self, const xmlChar* /*target*/, const xmlChar* /*data*/)
{
    step<&EventWalk::add_other>(self, NodeKind::instruction);
}

/// What a document type declares is a hostile document's field: none of it is parsed here.
void EventWalk::on_document_type(void* self, const xmlChar* /*name*/, const xmlChar* /*external*/,
                                 const xmlChar* /*system*/)
{
    auto* walk = static_cast<EventWalk*>(self);
    walk->unusual_ = true;
    xmlStopParser(walk->parser_.get());
}

/// The handlers of a tree go, so that nothing is built.
void EventWalk::take_over(xmlParserCtxt& parser)
{
    // A program can tell libxml2 to leave blanks out of every tree: that is not looked into here.
    unusual_ = parser.sax->ignorableWhitespace != parser.sax->characters;
    xmlSAXHandler& handlers = *parser.sax;
    handlers = {};
    handlers.initialized = XML_SAX2_MAGIC;
    handlers.startElementNs = on_start;
    handlers.endElementNs = on_end;
    handlers.characters = on_text;
    handlers.ignorableWhitespace = on_text;
    handlers.comment = on_comment;
    handlers.processingInstruction = on_instruction;
    handlers.internalSubset = on_document_type;
    handlers.cdataBlock = on_unusual;
    handlers.reference = on_unusual;
    handlers.getEntity = on_entity;
    parser.userData = this;
    if (reader_.sieve.attribute != nullptr) {
        sieve_attribute_ = xmlDictLookup(parser.dict, to_xml(reader_.sieve.attribute), -1);
    }
}

bool EventWalk::was_usual(const xmlParserCtxt& parser) const
{
    return !unusual_ && is_utf8(parser) && parser.wellFormed == 1 && parser.errNo == XML_ERR_OK &&
           !xml_error_is_left() && xmlDictGetUsage(parser.dict) <= kMostNames &&
           short_texts_ <= kMostShortTexts;
}

Walked EventWalk::over(const char* file)
{
    take_over(*parser_);
    {
        const CaughtReports reports(this, on_unusual);
        const XmlDocument none = recover(parser_.get(), file);
    }
    if (thrown_) {
        std::rethrow_exception(thrown_);
    }
    if (!was_usual(*parser_)) {
        xmlResetLastError();
        return Walked::unusual;
    }
    return right_root_ ? Walked::done : Walked::wrong_root;
}

void EventWalk::start_element(const xmlChar* name, std::size_t attributes, Attributes values)
{
    end_text_run();
    const std::size_t depth = depth_++;
    if (depth > kDeepest || attributes > kMostParts) {
        unusual_ = true;
        return;
    }
    // Attributes that nobody reads can be unusual as well.
    for (std::size_t i = 0; i < attributes; ++i) {
        Attributes one = values + kAttributeParts * i;
        unusual_ = unusual_ || one[1] != nullptr;
        count_value(static_cast<std::size_t>(one[4] - one[3]));
    }
    if (left_out_) {
        return;
    }
    if (depth <= node_depth_) {
        start_outer_element(depth, name, attributes, values);
    } else if (depth == node_depth_ + 1 && is_walking()) {
        add_child(NodeKind::element, view_of(name));
        child_text_ = texts_.end();
    }
}

/// A value that the parser copied, and so ended with a NUL, is not looked into here.
bool EventWalk::is_left_out(std::size_t attributes, Attributes values) const
{
    if (sieve_attribute_ == nullptr) {
        return false;
    }
    const KeptErrno kept;
    for (std::size_t i = 0; i < attributes; ++i) {
        Attributes one = values + kAttributeParts * i;
        if (one[0] == sieve_attribute_) {
            return *one[4] != '\0' && !reader_.sieve.passes(view_of(one[3], one[4]));
        }
    }
    return false;
}

void EventWalk::start_outer_element(std::size_t depth, const xmlChar* name, std::size_t attributes,
                                    Attributes values)
{
    if (stopped_ || (depth == node_depth_ && !inside_)) {
        return;
    }
    if (depth == node_depth_ && is_left_out(attributes, values)) {
        left_out_ = true;
        return;
    }
    read_head(name, attributes, values);
    if (depth == 0) {
        start_root();
    } else if (depth < node_depth_) {
        start_group();
    }
}

void EventWalk::start_root()
{
    right_root_ = node_.name == root_;
    inside_ = right_root_ && node_depth_ == 1;
    stopped_ = !right_root_;
    if (right_root_ && !unusual_) {
        const KeptErrno kept;
        reader_.begin(node_);
    }
}

void EventWalk::start_group()
{
    if (unusual_) {
        return;
    }
    const KeptErrno kept;
    const Group answer = reader_.group(node_);
    inside_ = answer == Group::enter;
    stopped_ = answer == Group::stop;
}

void EventWalk::end_element()
{
    end_text_run();
    --depth_;
    if (!is_walking()) {
        return;
    }
    if (depth_ == node_depth_ + 1) {
        node_.children.back().text =
            std::string_view(child_text_, static_cast<std::size_t>(texts_.end() - child_text_));
    } else if (depth_ == node_depth_) {
        hand_out();
    } else if (depth_ < node_depth_) {
        inside_ = false;
    }
}

/// The parser hands out a text in pieces as it likes.
void EventWalk::add_text(std::string_view text)
{
    if (depth_ <= node_depth_ || !is_walking()) {
        return;
    }
    if (depth_ > node_depth_ + 1) {
        unusual_ = !texts_.add(text);
    } else if (run_ == text.size()) {
        add_child(NodeKind::text, {});
    }
}

void EventWalk::add_other(NodeKind kind)
{
    end_text_run();
    if (!is_walking() || left_out_) {
        return;
    }
    if (depth_ == node_depth_) {
        hand_out_bare(kind);
    } else if (depth_ == node_depth_ + 1) {
        add_child(kind, {});
    }
}

/// A text beside the nodes is a node once it is whole.
void EventWalk::end_text_run()
{
    if (run_ != 0 && depth_ == node_depth_ && is_walking()) {
        hand_out_bare(NodeKind::text);
    }
    run_ = 0;
}

void EventWalk::read_head(const xmlChar* name, std::size_t attributes, Attributes values)
{
    texts_.clear();
    node_.kind = NodeKind::element;
    node_.name = view_of(name);
    node_.attributes.clear();
    node_.children.clear();
    for (std::size_t i = 0; i < attributes; ++i) {
        Attributes one = values + kAttributeParts * i;
        const char* begin = texts_.end();
        // As in a tree: references are looked for in the values that the parser copied, which end with a NUL.
        const std::string_view written = view_of(one[3], one[4]);
        if (!(*one[4] == '\0' ? add_referring(written) : texts_.add(written))) {
            unusual_ = true;
            return;
        }
        node_.attributes.push_back(
            {view_of(one[0]), std::string_view(begin, static_cast<std::size_t>(texts_.end() - begin)), true});
    }
}

/// An ampersand is the one character that the parser hands out as a reference, for those who would look for
/// entities in the value. False where the value does not fit.
bool EventWalk::add_referring(std::string_view written)
{
    constexpr std::string_view kAmpersand = "&#38;";
    for (std::size_t next = written.find('&'); next != std::string_view::npos; next = written.find('&')) {
        if (written.substr(next, kAmpersand.size()) != kAmpersand ||
            !texts_.add(written.substr(0, next + 1))) {
            return false;
        }
        written.remove_prefix(next + kAmpersand.size());
    }
    return texts_.add(written);
}

void EventWalk::add_child(NodeKind kind, std::string_view name)
{
    if (node_.children.size() == kMostParts) {
        unusual_ = true;
        return;
    }
    node_.children.push_back({kind, name, ""});
}

void EventWalk::hand_out()
{
    const KeptErrno kept;
    stopped_ = reader_.node(node_) == Walk::stop;
}

void EventWalk::hand_out_bare(NodeKind kind)
{
    node_.kind = kind;
    node_.name = {};
    node_.attributes.clear();
    node_.children.clear();
    hand_out();
}

} // namespace

Walked walk_events(const char* file, const char* root, const PolicyWalk& reader)
{
    return EventWalk(root, reader).over(file);
}

} // namespace tresk
