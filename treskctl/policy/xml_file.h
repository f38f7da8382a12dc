// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A policy file as it is written, with the place of each element: the library's readers forgive and do not
// tell places, so what explains and verifies policies reads them here. The parser and its options are the
// library's, so that both see the same document.
#ifndef TRESK_TRESKCTL_POLICY_XML_FILE_H
#define TRESK_TRESKCTL_POLICY_XML_FILE_H

#include "common/handles.h"
#include "treskctl/policy/kind.h"

#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tresk::ctl {

struct XmlElement {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes; ///< in document order
    std::vector<XmlElement> children;                            ///< elements alone
    std::string text;                                            ///< all text below it, concatenated
    bool has_own_text = false;                                   ///< more than blanks directly in it
    Place place;

    /// The attribute's value, or nothing where there is none.
    [[nodiscard]] std::optional<std::string> attribute(std::string_view wanted) const;
    /// The same where it is the element's first attribute.
    [[nodiscard]] std::optional<std::string> first_attribute(std::string_view wanted) const;
    /// The last child element of that name, or null.
    [[nodiscard]] const XmlElement* last_child(std::string_view wanted) const;
};

struct XmlFile {
    /// Nothing where the file is missing or empty, or holds no document.
    std::optional<XmlElement> root;
    /// What the parser complained about, and forgave.
    std::vector<Problem> problems;
    /// That the parser had to repair the document, so that more of it may be missing; its subject is the
    /// place.
    std::optional<Failure> damage;
    /// Why there is no root, other than that there is no file; its subject is the place.
    std::optional<Failure> failure;
};

/// Reads @file. A root of another name than @root_name is a failure.
XmlFile read_xml(const std::string& file, std::string_view root_name);

/// The root that read_xml() would find there, with its attributes alone.
std::optional<XmlElement> read_xml_root(const std::string& file, std::string_view root_name);

/// Which elements of a document are its entries.
struct XmlShape {
    std::string_view root;
    /// Those in the root that hold the entries; empty where the root itself does.
    std::string_view group;
    std::string_view entry;
};

/// What one meets on a way through a document. No element has a place.
class XmlVisitor {
  public:
    XmlVisitor() = default;
    virtual ~XmlVisitor() = default;
    XmlVisitor(const XmlVisitor&) = delete;
    XmlVisitor& operator=(const XmlVisitor&) = delete;

    /// The root begins; it has its attributes alone. False where nothing in it is wanted.
    virtual bool begin_root(const XmlElement& root) = 0;
    /// The same of a group.
    virtual bool begin_group(const XmlElement& group) = 0;
    virtual void take_entry(const XmlElement& entry) = 0;
};

/// A sound file, of which never more than one entry is held. It stays open: another one that takes its name
/// is not seen.
class XmlStream {
  public:
    /// Nothing where @file is missing or empty, or is not a file of text that begins with a tag: read_xml()
    /// tells what is to be told then.
    static std::optional<XmlStream> open(const std::string& file);

    /// Goes through the document from its beginning. False where read_xml() would tell more of it than a root
    /// and the parser's complaints, or where the file was written to since it was opened: what was met then
    /// is not all, or is not right.
    [[nodiscard]] bool visit(const XmlShape& shape, XmlVisitor& visitor) const;

  private:
    struct State {
        std::int64_t size_bytes;
        std::timespec changed;
    };

    XmlStream(Descriptor file, State opened) : file_(std::move(file)), opened_(opened) {}

    static std::optional<State> state_of(const Descriptor& file);
    [[nodiscard]] bool is_unchanged() const;

    Descriptor file_;
    State opened_;
};

} // namespace tresk::ctl

#endif
