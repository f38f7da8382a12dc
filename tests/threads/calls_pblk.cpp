// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process blocking; the answers of the edits are those of process protection.
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

constexpr char kPolicyFile[] = "/etc/tresk/pblk/pblk.xml";

bool is_kept(const pblk_node_info& record)
{
    return std::strcmp(record.path, kKeptProgram.path) == 0;
}

bool fits(const pblk_node_info& record)
{
    return belong_together(record.path, record.hash);
}

/// Of a reader that leaves the hashes out.
bool fits_without_hash(const pblk_node_info& record)
{
    return is_program(record.path) && record.hash[0] == '\0';
}

template <class Reader>
std::string whole_list(Reader read, bool (*fits_record)(const pblk_node_info& record))
{
    int count = 0;
    pblk_node_info* records = read(&count);
    return listed(records, count, fits_record, is_kept);
}

template <class Reader>
std::string entry_of(const Program& program, Reader read)
{
    return looked_up(read(program), &program == &kKeptProgram, [&program](const pblk_node_info& record) {
        return fits(record) && std::strcmp(record.path, program.path) == 0;
    });
}

std::string same_hash(Random&)
{
    int count = 0;
    const int result = tresk_pblk_get_same_node_by_hash(kKeptProgram.hash, &count);
    return shown(result) + " " + shown(count);
}

} // namespace

std::vector<Call> pblk_calls()
{
    constexpr Family pblk = Family::pblk;
    return {
        {"tresk_pblk_get_path_hash",
         pblk,
         Cost::plain,
         [](Random& random) {
             const Program& program = any_program(random);
             const Malloced<char> hash(tresk_pblk_get_path_hash(program.path));
             return right(hash && std::strcmp(hash.get(), program.hash) == 0);
         },
         {"right"}},
        {"tresk_pblk_read_all_data_with_file",
         pblk,
         Cost::reader,
         [](Random&) {
             return whole_list(
                 [](int* count) { return tresk_pblk_read_all_data_with_file(kPolicyFile, count); }, fits);
         },
         {"whole"}},
        {"tresk_pblk_read_all_data",
         pblk,
         Cost::reader,
         [](Random&) { return whole_list(tresk_pblk_read_all_data, fits); },
         {"whole"}},
        {"tresk_pblk_read_all_data_with_file_zdk",
         pblk,
         Cost::reader,
         [](Random&) {
             return whole_list(
                 [](int* count) {
                     return tresk_pblk_read_all_data_with_file_zdk(kPolicyFile, kSourceType, kKeptSource,
                                                                   count);
                 },
                 fits_without_hash);
         },
         {"whole"}},
        {"tresk_pblk_read_all_data_zdk",
         pblk,
         Cost::reader,
         [](Random&) {
             return whole_list(
                 [](int* count) { return tresk_pblk_read_all_data_zdk(kSourceType, kKeptSource, count); },
                 fits_without_hash);
         },
         {"whole"}},
        {"tresk_pblk_read_node_with_path_zdk",
         pblk,
         Cost::reader,
         [](Random& random) {
             return entry_of(any_program(random), [](const Program& program) {
                 return tresk_pblk_read_node_with_path_zdk(program.path, kSourceType, kKeptSource);
             });
         },
         {"whole", "none"}},
        {"tresk_pblk_read_node_with_path",
         pblk,
         Cost::reader,
         [](Random& random) {
             return looked_up(tresk_pblk_read_node_with_path(passing_program(random)), false, fits);
         },
         {"whole", "none"}},
        {"tresk_pblk_read_node_with_hash_zdk",
         pblk,
         Cost::reader,
         [](Random& random) {
             return entry_of(any_program(random), [](const Program& program) {
                 return tresk_pblk_read_node_with_hash_zdk(program.hash, kSourceType, kKeptSource);
             });
         },
         {"whole", "none"}},
        {"tresk_pblk_get_same_node_by_hash", pblk, Cost::reader, same_hash, {"0 1"}},
        {"tresk_pblk_add_zdk",
         pblk,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_pblk_add_zdk(copy(passing_program(random)).data(), kSourceType, kSource));
         },
         {"0", "1", "-2"}},
        {"tresk_pblk_add",
         pblk,
         Cost::bus,
         [](Random& random) { return shown(tresk_pblk_add(copy(passing_program(random)).data())); },
         {"0", "1", "-2"}},
        {"tresk_pblk_remove_zdk",
         pblk,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_pblk_remove_zdk(copy(passing_program(random)).data(), kSourceType, kSource));
         },
         {"0", "-3"}},
        {"tresk_pblk_remove",
         pblk,
         Cost::bus,
         [](Random& random) { return shown(tresk_pblk_remove(copy(passing_program(random)).data())); },
         {"0", "-3"}},
    };
}

} // namespace tresk::test
