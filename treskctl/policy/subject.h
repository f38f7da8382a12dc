// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a user asks about: a file, under all the names by which policies may know it, or the name of a package
// or module.
#ifndef TRESK_TRESKCTL_POLICY_SUBJECT_H
#define TRESK_TRESKCTL_POLICY_SUBJECT_H

#include <optional>
#include <set>
#include <string>

namespace tresk::ctl {

class Subject {
  public:
    /// A @word with a slash is a path.
    /// @root: where the machine's files are. Below another root than "/" symbolic links are not followed,
    /// since
    ///        they lead to this machine's files.
    Subject(std::string word, std::string root);

    [[nodiscard]] const std::string& word() const { return word_; }

    [[nodiscard]] bool is_path() const { return is_path_; }

    /// What the path leads to; nothing where there is no such file, and for names.
    [[nodiscard]] const std::optional<std::string>& file() const { return file_; }

    /// All names of the file: as given, resolved, and with and without "/data" where folders are bound from
    /// there.
    [[nodiscard]] const std::set<std::string>& paths() const { return paths_; }

    /// True when @path, which a policy names, is the file, also through symbolic links.
    [[nodiscard]] bool is_at(const std::string& path) const;

    /// True when the subject is the package or module of that name.
    [[nodiscard]] bool is_named(const std::string& name) const { return !is_path_ && name == word_; }

  private:
    void add_path(const std::string& path);
    [[nodiscard]] std::optional<std::string> resolved(const std::string& path) const;

    std::string word_;
    std::string root_;
    bool is_path_;
    std::optional<std::string> file_;
    std::set<std::string> paths_;
};

} // namespace tresk::ctl

#endif
