// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/tree.h"

#include "treskctl/printable.h"

#include <nlohmann/json.hpp>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/mark.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <sstream>
#include <string_view>

namespace tresk::ctl {

namespace {

/// No document goes deeper; a text that does could only be meant to exhaust its readers.
constexpr std::size_t kDeepest = 16;

/// Puts a tree together from what a parser reports.
class TreeBuilder {
  public:
    void begin(Shape shape, std::size_t line)
    {
        if (open_.size() == kDeepest) {
            throw WrongTree(line, "the nesting is deeper than any document's");
        }
        open_.push_back(&place({shape, {}, {}, line, {}}));
    }

    void end() { open_.pop_back(); }

    void add(Shape shape, std::string text, std::size_t line)
    {
        place({shape, {}, std::move(text), line, {}});
    }

    void name_next(std::string name, std::size_t line) { name_ = Name{std::move(name), line}; }

    /// Whether what comes next is a name.
    [[nodiscard]] bool wants_name() const
    {
        return !open_.empty() && open_.back()->shape == Shape::Map && !name_;
    }

    Node take() { return std::move(root_); }

  private:
    struct Name {
        std::string text;
        std::size_t line;
    };

    /// Open nodes stay where they are: only the innermost one gets children.
    Node& place(Node node)
    {
        if (name_) {
            node.name = std::move(name_->text);
            node.line = name_->line;
            name_.reset();
        }
        if (open_.empty()) {
            root_ = std::move(node);
            return root_;
        }
        return open_.back()->children.emplace_back(std::move(node));
    }

    Node root_;
    std::vector<Node*> open_;
    std::optional<Name> name_;
};

std::size_t line_at(std::string_view text, std::size_t position)
{
    return 1 + static_cast<std::size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(position), '\n'));
}

/// A line feed is no part of a longer character, so the lines can be looked at one by one.
void require_utf8(const std::string& text)
{
    if (is_utf8(text)) {
        return;
    }
    std::istringstream lines(text);
    std::size_t number = 1;
    for (std::string line; std::getline(lines, line) && is_utf8(line);) {
        ++number;
    }
    throw WrongTree(
        number, "the text is not UTF-8; other bytes are written in a field with \"_hex\" behind its name");
}

// --- JSON ---

/// Reads a text and counts its lines. The parser may have read one character more than what it reports, so a
/// line counts as over when the first character behind its end is read.
class CountingIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator(const char* at, std::size_t& line) : at_(at), line_(&line) {}

    reference operator*() const { return *at_; }

    CountingIterator& operator++()
    {
        *line_ += line_ended_ ? 1 : 0;
        line_ended_ = *at_ == '\n';
        ++at_;
        return *this;
    }

    CountingIterator operator++(int)
    {
        CountingIterator before = *this;
        ++*this;
        return before;
    }

    bool operator==(const CountingIterator& other) const { return at_ == other.at_; }

    bool operator!=(const CountingIterator& other) const { return at_ != other.at_; }

  private:
    const char* at_;
    std::size_t* line_;
    bool line_ended_ = false;
};

class JsonEvents : public nlohmann::json_sax<nlohmann::json> {
  public:
    JsonEvents(TreeBuilder& tree, const std::size_t& line) : tree_(tree), line_(line) {}

    bool null() override { return add(Shape::Null, ""); }

    bool boolean(bool yes) override { return add(Shape::Flag, yes ? "true" : "false"); }

    bool number_integer(number_integer_t number) override
    {
        return add(Shape::Number, std::to_string(number));
    }

    bool number_unsigned(number_unsigned_t number) override
    {
        return add(Shape::Number, std::to_string(number));
    }

    bool number_float(number_float_t /*number*/, const string_t& text) override
    {
        return add(Shape::Number, text);
    }

    bool string(string_t& text) override { return add(Shape::Text, std::move(text)); }

    bool binary(binary_t& /*bytes*/) override { return false; } // no JSON text has them

    bool start_object(std::size_t /*size*/) override { return begin(Shape::Map); }

    bool key(string_t& name) override
    {
        tree_.name_next(std::move(name), line_);
        return true;
    }

    bool end_object() override { return end(); }

    bool start_array(std::size_t /*size*/) override { return begin(Shape::List); }

    bool end_array() override { return end(); }

    /// The parser's text begins with its own name of the error and the place.
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const nlohmann::detail::exception& error) override
    {
        const std::string_view text = error.what();
        const std::size_t place_end = text.find(": ");
        throw WrongTree(line_,
                        std::string(place_end == std::string_view::npos ? text : text.substr(place_end + 2)));
    }

  private:
    bool add(Shape shape, std::string text)
    {
        tree_.add(shape, std::move(text), line_);
        return true;
    }

    bool begin(Shape shape)
    {
        tree_.begin(shape, line_);
        return true;
    }

    bool end()
    {
        tree_.end();
        return true;
    }

    TreeBuilder& tree_;
    const std::size_t& line_;
};

// --- YAML ---

class YamlEvents : public YAML::EventHandler {
  public:
    explicit YamlEvents(TreeBuilder& tree) : tree_(tree) {}

    void OnDocumentStart(const YAML::Mark& /*mark*/) override {}

    void OnDocumentEnd() override {}

    void OnNull(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override { add(mark, Shape::Null, ""); }

    void OnAlias(const YAML::Mark& mark, YAML::anchor_t /*anchor*/) override
    {
        throw WrongTree(line_of(mark), "references (*NAME) have no place in a document");
    }

    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t /*anchor*/,
                  const std::string& value) override
    {
        add(mark, tag == "?" || tag.empty() ? Shape::Plain : Shape::Text, value);
    }

    void OnSequenceStart(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                         YAML::EmitterStyle::value /*style*/) override
    {
        begin(mark, Shape::List);
    }

    void OnSequenceEnd() override { tree_.end(); }

    void OnMapStart(const YAML::Mark& mark, const std::string& /*tag*/, YAML::anchor_t /*anchor*/,
                    YAML::EmitterStyle::value /*style*/) override
    {
        begin(mark, Shape::Map);
    }

    void OnMapEnd() override { tree_.end(); }

  private:
    static std::size_t line_of(const YAML::Mark& mark) { return static_cast<std::size_t>(mark.line) + 1; }

    void add(const YAML::Mark& mark, Shape shape, const std::string& text)
    {
        if (tree_.wants_name()) {
            tree_.name_next(text, line_of(mark));
        } else {
            tree_.add(shape, text, line_of(mark));
        }
    }

    void begin(const YAML::Mark& mark, Shape shape)
    {
        if (tree_.wants_name()) {
            throw WrongTree(line_of(mark), "only a text can be a name");
        }
        tree_.begin(shape, line_of(mark));
    }

    TreeBuilder& tree_;
};

/// YAML has no place for them, and the parser takes one of them for the text's end.
void require_no_controls(const std::string& text)
{
    const auto found = std::ranges::find_if(text, [](char letter) {
        return static_cast<unsigned char>(letter) < ' ' && letter != '\n' && letter != '\r' && letter != '\t';
    });
    if (found != text.end()) {
        throw WrongTree(line_at(text, static_cast<std::size_t>(found - text.begin())),
                        "YAML has no control characters; in double quotes they are written \"\\xNN\"");
    }
}

/// Reports what follows the only document to nobody.
Node only_document(std::istream& stream)
{
    YAML::Parser parser(stream);
    TreeBuilder tree;
    YamlEvents events(tree);
    if (!parser.HandleNextDocument(events)) {
        throw WrongTree(1, "the text holds no document");
    }
    Node root = tree.take();
    TreeBuilder more;
    YamlEvents further(more);
    if (parser.HandleNextDocument(further)) {
        throw WrongTree(more.take().line, "a second document: one file holds one");
    }
    return root;
}

} // namespace

Node tree_of_json(const std::string& text)
{
    require_utf8(text);
    std::size_t line = 1;
    TreeBuilder tree;
    JsonEvents events(tree, line);
    nlohmann::json::sax_parse(CountingIterator(text.data(), line),
                              CountingIterator(text.data() + text.size(), line), &events);
    return tree.take();
}

Node tree_of_yaml(const std::string& text)
{
    require_utf8(text);
    require_no_controls(text);
    std::istringstream stream(text);
    try {
        return only_document(stream);
    } catch (const YAML::Exception& error) {
        const bool placed = !error.mark.is_null();
        throw WrongTree(placed ? static_cast<std::size_t>(error.mark.line) + 1 : 1, error.msg);
    }
}

} // namespace tresk::ctl
