// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Random policy files of every kind: as the service writes them, as somebody who edits them by hand may leave
// them, and as a damaged disk does.
#ifndef TRESK_TESTS_E2E_POLICY_GENERATOR_H
#define TRESK_TESTS_E2E_POLICY_GENERATOR_H

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace tresk::test {

/// How a policy came about.
enum class Origin {
    Service, ///< valid throughout
    Hand,    ///< well-formed, with all that readers skip, cut and misread
    Damage,  ///< the same with bytes lost, changed and repeated
};

struct GeneratedPolicy {
    std::string text;
    /// How many entries a policy of the service's has.
    std::size_t entries = 0;
};

class PolicyGenerator {
  public:
    PolicyGenerator(unsigned seed, Origin origin) : random_(seed), origin_(origin) {}

    GeneratedPolicy ppro();
    GeneratedPolicy pblk();
    /// @packages: of packages, else of programs
    GeneratedPolicy netctl(bool packages);
    GeneratedPolicy bwlist();

  private:
    struct Element;

    std::size_t below(std::size_t limit);
    bool often();
    bool seldom();
    /// Only where somebody's hand was in it.
    bool oddly();
    const std::string& one_of(const std::vector<std::string>& words);

    std::string path(std::size_t number);
    std::string number();
    std::string hash(const std::string& usual);
    void add_odd_parts(Element& element);
    std::string written(const Element& element, bool root = false);
    std::string damaged(std::string text);
    GeneratedPolicy finished(const Element& root, std::size_t entries);
    Element program(std::size_t number, int uid, bool per_user);
    Element package(std::size_t number);

    std::mt19937 random_;
    Origin origin_;
};

} // namespace tresk::test

#endif
