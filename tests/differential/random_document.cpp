// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/random_document.h"

#include <algorithm>
#include <map>

namespace tresk::test {

namespace {

using Words = std::vector<std::string>;

/// @bytes bytes in all, which end inside or behind a character of two bytes.
std::string long_text(Random& random, const std::string& start, std::size_t bytes)
{
    std::string text = start;
    const bool wide = random.once_in(2);
    while (text.size() < bytes) {
        text += wide && text.size() + 2 <= bytes + 1 ? "é" : "m";
    }
    return text;
}

/// A text about as long as a field of @size bytes.
std::string about(Random& random, const std::string& start, std::size_t size)
{
    return long_text(random, start, size - 3 + random.below(6));
}

const Words& numbers()
{
    static const Words words{"0",
                             "1",
                             "2",
                             "3",
                             "-1",
                             "+1",
                             " 1",
                             "\n 5",
                             "01",
                             "010",
                             "1x",
                             "x",
                             "",
                             "0x10",
                             "1e3",
                             "1 2",
                             "7.9",
                             "2147483647",
                             "2147483648",
                             "4294967295",
                             "4294967296",
                             "4294967297",
                             "-2147483648",
                             "-2147483649",
                             "9223372036854775807",
                             "9223372036854775808",
                             "-9223372036854775809",
                             "99999999999999999999",
                             "--1",
                             "１"};
    return words;
}

const Words& hashes()
{
    static const Words words{std::string(64, 'a'),
                             std::string(64, 'a'),
                             std::string(64, 'a'),
                             std::string(64, 'b'),
                             std::string(63, 'a'),
                             std::string(65, 'a'),
                             std::string(63, 'a') + "é",
                             std::string(70, 'c'),
                             "",
                             "A"};
    return words;
}

const Words& words_of(Meaning meaning)
{
    static const std::map<Meaning, Words> words{
        {Meaning::Path,
         {"/usr/bin/a", "/usr/bin/a", "/usr/bin/a", "/usr/bin/b", "/home/u/x", "/data/home/u/x", "/root/x",
          "/data/root/x", "/data/home/u/x", "/homework", "/data/homework", "", "a", "/usr/bin/ä",
          "/usr/bin/a b", "/usr/bin/<&>"}},
        {Meaning::Package, {"pkg", "pkg", "pkg", "other", "", "pkg-1.0", "päckchen"}},
        {Meaning::Program,
         {"/etc", "/etc/passwd", "/", "/missing/program", "/missing/program", "", ".", "/etc/x/y"}},
        {Meaning::Hash, hashes()},
        {Meaning::Number, numbers()},
        {Meaning::User,
         {"0", "0", "1000", "1000", "1000", "1001", "-1", "4294967295", "4294968296", "1000x", " 1000", "",
          "x"}},
        {Meaning::Name, {"name", "", "näme", " blanks ", "unknown"}},
        {Meaning::Long, {"icon", "", "/usr/share/icons/ä.png", "unknown"}},
        {Meaning::Mode,
         {"0", "0", "1", "1", "2", "01", "00", " 1", "+0", "", "-1", "x", "4294967296", "010"}},
        {Meaning::SourceType,
         {"1", "1", "0", "5", "3", "01", "", "-1", "12345678", "1234567", "-123456", "2147483647",
          "2147483"}},
        {Meaning::SourceName, {"", "", "a", "a", "b", "ü"}},
        {Meaning::List, {"white", "white", "black", "black", "bwlist", "", "grey"}},
    };
    return words.at(meaning);
}

/// The size of the field that takes the text, 0 where the length has no edge.
std::size_t field_of(Meaning meaning)
{
    switch (meaning) {
    case Meaning::Path:
    case Meaning::Package:
    case Meaning::Program:
    case Meaning::Long:
        return 4096;
    case Meaning::Name:
    case Meaning::SourceName:
        return 256;
    default:
        return 0;
    }
}

std::string escaped(const std::string& text)
{
    std::string result;
    for (const char byte : text) {
        switch (byte) {
        case '<':
            result += "&lt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += byte;
        }
    }
    return result;
}

class Writer {
  public:
    Writer(Random& random, const Shape& shape)
        : random_(random), shape_(shape), blanks_(random.once_in(2)), plain_(random.once_in(2))
    {
    }

    std::string document()
    {
        const std::string name = root_name();
        return prolog(name) + opened_root(name) + content_of_root() + "</" + name + ">" + epilog();
    }

  private:
    bool oddly_once_in(std::size_t times) { return random_.once_in(times) && !plain_; }

    std::string root_name()
    {
        if (random_.once_in(25)) {
            return random_.one_of(Words{"root", shape_.node, "TRESK_ROOT", "x"});
        }
        return oddly_once_in(20) ? std::string("x:") + shape_.root : shape_.root;
    }

    std::string prolog(const std::string& root)
    {
        std::string text = random_.once_in(3) ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "";
        if (random_.once_in(8)) {
            text += random_.one_of(Words{"<!-- c -->", "<?pi x?>", "\n\n"});
        }
        if (oddly_once_in(6)) {
            text += "<!DOCTYPE " + root + " [<!ENTITY e \"1\"><!ENTITY hash \"" + std::string(64, 'a') +
                    "\"><!ENTITY type \"2\"><!ENTITY el \"<b>3</b>\">" + defaults() + "]>";
        }
        return text;
    }

    /// Attributes that elements have without carrying them.
    std::string defaults()
    {
        if (!random_.once_in(4)) {
            return "";
        }
        const Part& part = random_.one_of(shape_.attributes);
        return std::string("<!ATTLIST ") + shape_.node + " " + part.name + " CDATA \"" +
               escaped(random_text(random_, part.meaning)) + "\">";
    }

    std::string opened_root(const std::string& name)
    {
        std::string text = "<" + name;
        text += oddly_once_in(10) ? " xmlns=\"urn:d\"" : "";
        text += name.compare(0, 2, "x:") == 0 || oddly_once_in(6) ? " xmlns:x=\"urn:x\"" : "";
        return text + attributes(shape_.root_attributes) + ">";
    }

    std::string content_of_root()
    {
        std::string text;
        for (std::size_t i = random_.below(7); i > 0; --i) {
            text += between();
            text += shape_.group == nullptr || random_.once_in(20) ? nodes() : group();
        }
        return text + between();
    }

    std::string epilog()
    {
        return random_.once_in(20) ? random_.one_of(Words{"\n", "<!-- end -->", "junk", "<x/>"}) : "";
    }

    std::string group()
    {
        const std::string name = element_name(shape_.group);
        std::string text = "<" + name + attributes({shape_.group_attribute}) + ">";
        for (std::size_t i = random_.below(5); i > 0; --i) {
            text += between() + nodes();
        }
        return text + between() + "</" + name + ">";
    }

    /// A node, sometimes with a second one of the same attributes behind it.
    std::string nodes()
    {
        const std::string carried = attributes(shape_.attributes);
        const std::string first = node(carried);
        return random_.once_in(4) ? first + between() + node(carried) : first;
    }

    std::string node(const std::string& carried)
    {
        const std::string name = element_name(shape_.node);
        const std::string open = "<" + name + carried;
        if (random_.once_in(20)) {
            return open + "/>";
        }
        const std::string inner = children();
        const std::string nested = random_.once_in(25) ? "<unknown>" + node_in_unknown() + "</unknown>" : "";
        return open + ">" + nested + inner + between() + "</" + name + ">";
    }

    std::string node_in_unknown()
    {
        return std::string("<") + shape_.node + attributes(shape_.attributes) + ">" + children() + "</" +
               shape_.node + ">";
    }

    std::string element_name(const std::string& name)
    {
        if (random_.once_in(25)) {
            return random_.one_of(Words{"unknown", name + "s", plain_ ? "y" + name : "x:" + name});
        }
        return name;
    }

    /// What stands between elements.
    std::string between()
    {
        if (random_.once_in(12)) {
            return random_.one_of(plain_ ? Words{"text", "<!-- c -->", "<?pi x?>", "<?hash x?>", "&amp;",
                                                 "<unknown>u</unknown>", "<unknown a=\"1\"/>"}
                                         : Words{"text", "<!-- c -->", "<?pi x?>", "<?hash x?>",
                                                 "<![CDATA[c]]>", "&e;", "&hash;", "&type;", "&el;", "&amp;",
                                                 "<unknown>u</unknown>", "<unknown a=\"1\"/>"});
        }
        return blanks_ ? "\n  " : "";
    }

    std::string attributes(const std::vector<Part>& parts)
    {
        Words written;
        for (const Part& part : parts) {
            if (!random_.once_in(part.missing)) {
                written.push_back(attribute(part));
            }
        }
        if (random_.once_in(12)) {
            written.insert(
                written.begin() + static_cast<std::ptrdiff_t>(random_.below(written.size() + 1)),
                random_.one_of(plain_ ? Words{"a=\"1\"", "id=\"x\""}
                                      : Words{"a=\"1\"", "id=\"x\"", "x:a=\"1\"", "xml:lang=\"de\""}));
        }
        if (!parts.empty() && oddly_once_in(40)) {
            written.push_back(attribute(random_.one_of(parts)));
        }
        if (written.size() > 1 && random_.once_in(8)) {
            std::rotate(written.begin(), written.begin() + 1, written.end());
        }
        std::string text;
        for (const std::string& one : written) {
            text += " " + one;
        }
        return text;
    }

    std::string attribute(const Part& part)
    {
        std::string name = part.name;
        if (random_.once_in(40)) {
            name = plain_ ? name + "s" : random_.one_of(Words{"x:" + name, name + "s", "y:" + name});
        }
        std::string value = escaped(random_text(random_, part.meaning));
        if (random_.once_in(40)) {
            value += plain_ ? random_.one_of(Words{"&#x41;", "\n", "\t", "&lt;", "&amp;#38;", "&#38;lt;"})
                            : random_.one_of(Words{"&e;", "&#x41;", "\n", "\t", "&undeclared;", "&lt;"});
        }
        return name + "=\"" + value + "\"";
    }

    std::string children()
    {
        Words written;
        for (const Part& part : shape_.children) {
            if (!random_.once_in(part.missing)) {
                written.push_back(child(part));
            }
            if (random_.once_in(12)) {
                written.push_back(child(part));
            }
        }
        if (written.size() > 1 && random_.once_in(4)) {
            std::swap(written[random_.below(written.size())], written[random_.below(written.size())]);
        }
        std::string text;
        for (const std::string& one : written) {
            text += between() + one;
        }
        return text;
    }

    std::string child(const Part& part)
    {
        const std::string name = oddly_once_in(40) ? std::string("x:") + part.name : std::string(part.name);
        const std::string attributes = random_.once_in(25) ? " a=\"1\"" : "";
        if (random_.once_in(25)) {
            return "<" + name + attributes + (random_.once_in(2) ? "/>" : "></" + name + ">");
        }
        return "<" + name + attributes + ">" + content(random_text(random_, part.meaning)) + "</" + name +
               ">";
    }

    /// The text, perhaps in several pieces, perhaps with more than itself.
    std::string content(const std::string& text)
    {
        if (!random_.once_in(7)) {
            return escaped(text);
        }
        const std::size_t half =
            text.find_first_of("/an1") == std::string::npos ? 0 : text.find_first_of("/an1");
        const std::string head = escaped(text.substr(0, half));
        const std::string tail = text.substr(half);
        switch (plain_ ? 1 + random_.below(4) : random_.below(8)) {
        case 0:
            return head + "<![CDATA[" + tail + "]]>";
        case 1:
            return head + "<!-- 9 -->" + escaped(tail);
        case 2:
            return head + "<?pi 9?>" + escaped(tail);
        case 3:
            return head + "<b>" + escaped(tail) + "</b>";
        case 4:
            return "<b><c>" + head + "</c></b>" + escaped(tail);
        case 5:
            return escaped(text) + "&e;";
        case 6:
            return random_.one_of(Words{"&hash;", "&type;", "&el;", "&undeclared;"}) + escaped(text);
        default:
            return "<!-- only -->";
        }
    }

    Random& random_;
    const Shape& shape_;
    bool blanks_;
    bool plain_; ///< nothing that makes the library's readers look at a document's tree
};

std::string damaged(Random& random, std::string text)
{
    const std::size_t place = random.below(text.size() + 1);
    switch (random.below(5)) {
    case 0:
    case 1:
        return text.substr(0, place);
    case 2:
        return text.insert(
            place, random.one_of(Words{"<", ">", "&", "\"", "\xff", "\xc3", std::string(1, '\0'), "]]>"}));
    case 3:
        return text.erase(place, 1 + random.below(10));
    default:
        return text.substr(0, place) + text;
    }
}

} // namespace

std::string random_text(Random& random, Meaning meaning)
{
    const std::size_t field = field_of(meaning);
    const std::string word = random.one_of(words_of(meaning));
    if (field != 0 && random.once_in(field > 1000 ? 40 : 6)) {
        return about(random, word, field);
    }
    return word;
}

std::optional<std::string> random_document(Random& random, const Shape& shape)
{
    if (random.once_in(50)) {
        return std::nullopt;
    }
    if (random.once_in(20)) {
        return random.one_of(Words{"", "", "", " \n", "junk", "<", "<?xml version=\"1.0\"?>", "<!-- c -->",
                                   "\xef\xbb\xbf", std::string(10, '\0')});
    }
    std::string text = Writer(random, shape).document();
    return random.once_in(8) ? damaged(random, std::move(text)) : text;
}

} // namespace tresk::test
