// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Random policy documents at the edges of what readers go by: the order of attributes, what stands between
// and inside elements, the lengths of texts, numbers, users, and files that are damaged, empty or missing.
#ifndef TRESK_TESTS_DIFFERENTIAL_RANDOM_DOCUMENT_H
#define TRESK_TESTS_DIFFERENTIAL_RANDOM_DOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace tresk::test {

/// Numbers that are the same everywhere for one seed.
class Random {
  public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }

    /// True once in @times.
    bool once_in(std::size_t times) { return below(times) == 0; }

    template <class T>
    const T& one_of(const std::vector<T>& choices)
    {
        return choices[below(choices.size())];
    }

  private:
    std::mt19937_64 engine_;
};

/// What a text stands for, and so which values it takes.
enum class Meaning {
    Path,
    Package,
    Program,
    Hash,
    Number,
    User,
    Name,
    Long,
    Mode,
    SourceType,
    SourceName,
    List
};

/// A random value, often one that others have too.
std::string random_text(Random& random, Meaning meaning);

struct Part {
    const char* name;
    Meaning meaning;
    /// How often it is left out, once in so many times.
    std::size_t missing = 8;
};

/// A policy's shape.
struct Shape {
    const char* root;
    std::vector<Part> root_attributes;
    /// Elements between root and nodes; no name where there are none.
    const char* group = nullptr;
    Part group_attribute{"", Meaning::User};
    const char* node = nullptr;
    std::vector<Part> attributes; ///< the node's identity first
    std::vector<Part> children;
};

/// A file's bytes; nothing for no file.
std::optional<std::string> random_document(Random& random, const Shape& shape);

} // namespace tresk::test

#endif
