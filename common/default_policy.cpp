// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A policy that exists is never replaced, whatever made its reading fail. So a missing file is created under
// another name and then linked (which fails when the service has written one meanwhile), and an empty file
// is written in place: should the service replace it at that moment, the bytes go to the file that it
// dropped.
#include "common/default_policy.h"

#include "common/xml_handles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <new>
#include <string>
#include <string_view>

namespace tresk {

namespace {

constexpr mode_t kPolicyMode = 0644;

void add_root(xmlDoc* document, const EmptyPolicy& policy)
{
    xmlNode* root = xmlNewDocNode(document, nullptr, to_xml(policy.root), nullptr);
    if (root == nullptr) {
        throw std::bad_alloc();
    }
    xmlDocSetRootElement(document, root); // now the document's to release
    if (policy.attribute != nullptr &&
        xmlNewProp(root, to_xml(policy.attribute), to_xml(policy.value)) == nullptr) {
        throw std::bad_alloc();
    }
}

/// libxml2 goes on without the text of an attribute that found no memory; errno, cleared before, tells.
std::string content_of(const EmptyPolicy& policy)
{
    errno = 0;
    const XmlDocument document(xmlNewDoc(to_xml("1.0")));
    if (!document) {
        throw std::bad_alloc();
    }
    add_root(document.get(), policy);
    xmlChar* bytes = nullptr;
    int length = 0;
    xmlDocDumpMemory(document.get(), &bytes, &length);
    const XmlText owner(bytes);
    if (bytes == nullptr || errno == ENOMEM) {
        throw std::bad_alloc();
    }
    return {from_xml(bytes), static_cast<std::size_t>(length)};
}

bool write_whole(const Descriptor& file, std::string_view content)
{
    return ::write(file.get(), content.data(), content.size()) == static_cast<ssize_t>(content.size());
}

void fill_empty_file(const Descriptor& file, std::string_view content)
{
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != 0) {
        return;
    }
    if (!write_whole(file, content)) {
        (void)!::ftruncate(file.get(), 0);
    }
}

void create_file(const char* path, std::string_view content)
{
    std::string temporary = std::string(path) + ".XXXXXX";
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) {
        return;
    }
    if (write_whole(file, content) && ::fchmod(file.get(), kPolicyMode) == 0 && ::fsync(file.get()) == 0) {
        (void)!::link(temporary.c_str(), path);
    }
    ::unlink(temporary.c_str());
}

} // namespace

void create_default_policy(const char* file, const EmptyPolicy& policy)
{
    const std::string content = content_of(policy);
    const Descriptor existing(::open(file, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (existing) {
        fill_empty_file(existing, content);
    } else if (errno == ENOENT) {
        create_file(file, content);
    }
}

} // namespace tresk
