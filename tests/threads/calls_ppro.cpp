// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process protection. The scene and the service are told one after the other, so that between the two another
// thread's edit may come: an addition then finds the entry (1 from the scene, -2 from the service), a removal
// or an update none (-3). An ordinary edit of what the "sm" side owns by then fails (-1).
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

constexpr char kPolicyFile[] = "/etc/tresk/ppro/ppro.xml";
constexpr int kLastType = 9;

int type(Random& random)
{
    return between(random, 1, kLastType);
}

bool fits(const ppro_node_info& record)
{
    return belong_together(record.path, record.hash) && record.type >= 1 && record.type <= kLastType;
}

bool is_kept(const ppro_node_info& record)
{
    return std::strcmp(record.path, kKeptProgram.path) == 0;
}

template <class Reader>
std::string whole_list(Reader read)
{
    int count = 0;
    ppro_node_info* records = read(&count);
    return listed(records, count, fits, is_kept);
}

template <class Reader>
std::string entry_of(const Program& program, Reader read)
{
    return looked_up(read(program.path), &program == &kKeptProgram, [&program](const ppro_node_info& record) {
        return fits(record) && std::strcmp(record.path, program.path) == 0;
    });
}

std::string same_hash(Random&)
{
    int count = 0;
    const int result = tresk_ppro_get_same_node_by_hash(kKeptProgram.hash, &count);
    return shown(result) + " " + shown(count);
}

std::string action(Random&)
{
    char* text = nullptr;
    const int result = tresk_ppro_get_action(&text);
    const Malloced<char> owner(text);
    return shown(result) + " " + (owner ? owner.get() : "none");
}

/// The first program, the kept one, is on the black list.
std::string blacklisted(Random& random)
{
    const Program& program = any_program(random);
    return right(ppro_path_in_blacklist(copy(program.path).data()) == (&program == &kKeptProgram ? 1 : 0));
}

} // namespace

std::vector<Call> ppro_calls()
{
    constexpr Family ppro = Family::ppro;
    return {
        {"tresk_ppro_get_path_hash",
         ppro,
         Cost::plain,
         [](Random& random) {
             const Program& program = any_program(random);
             const Malloced<char> hash(tresk_ppro_get_path_hash(program.path));
             return right(hash && std::strcmp(hash.get(), program.hash) == 0);
         },
         {"right"}},
        {"tresk_ppro_read_all_data_with_file",
         ppro,
         Cost::reader,
         [](Random&) {
             return whole_list([](int* count) {
                 return tresk_ppro_read_all_data_with_file(copy(kPolicyFile).data(), count);
             });
         },
         {"whole"}},
        {"tresk_ppro_read_all_data_with_file_sm",
         ppro,
         Cost::reader,
         [](Random&) {
             return whole_list([](int* count) {
                 return tresk_ppro_read_all_data_with_file_sm(copy(kPolicyFile).data(), count);
             });
         },
         {"whole"}},
        {"tresk_ppro_read_all_data_internal",
         ppro,
         Cost::reader,
         [](Random& random) {
             const int mode = between(random, 0, 1);
             return whole_list([mode](int* count) { return tresk_ppro_read_all_data_internal(count, mode); });
         },
         {"whole"}},
        {"tresk_ppro_read_all_data",
         ppro,
         Cost::reader,
         [](Random&) { return whole_list(tresk_ppro_read_all_data); },
         {"whole"}},
        {"tresk_ppro_read_all_data_sm",
         ppro,
         Cost::reader,
         [](Random&) { return whole_list(tresk_ppro_read_all_data_sm); },
         {"whole"}},
        {"tresk_ppro_read_all_data_with_file_zdk",
         ppro,
         Cost::reader,
         [](Random&) {
             return whole_list([](int* count) {
                 return tresk_ppro_read_all_data_with_file_zdk(kPolicyFile, count, 0, kKeptSource);
             });
         },
         {"whole"}},
        {"tresk_ppro_read_all_data_zdk",
         ppro,
         Cost::reader,
         [](Random&) {
             return whole_list(
                 [](int* count) { return tresk_ppro_read_all_data_zdk(count, 0, kKeptSource); });
         },
         {"whole"}},
        {"tresk_ppro_read_node_with_path_internal",
         ppro,
         Cost::reader,
         [](Random& random) {
             return entry_of(any_program(random), [](const char* path) {
                 return tresk_ppro_read_node_with_path_internal(path, 0);
             });
         },
         {"whole", "none"}},
        {"tresk_ppro_read_node_with_path",
         ppro,
         Cost::reader,
         [](Random& random) { return entry_of(any_program(random), tresk_ppro_read_node_with_path); },
         {"whole", "none"}},
        {"tresk_ppro_read_node_with_path_sm",
         ppro,
         Cost::reader,
         [](Random& random) { return entry_of(any_program(random), tresk_ppro_read_node_with_path_sm); },
         {"whole", "none"}},
        {"tresk_ppro_read_node_with_path_zdk",
         ppro,
         Cost::reader,
         [](Random& random) {
             return entry_of(any_program(random), [](const char* path) {
                 return tresk_ppro_read_node_with_path_zdk(path, 0, kKeptSource);
             });
         },
         {"whole", "none"}},
        // It passes over the entries of the hash that it is given: of the kept source it gives the kept one.
        {"tresk_ppro_read_node_with_hash_zdk",
         ppro,
         Cost::reader,
         [](Random&) {
             return looked_up(tresk_ppro_read_node_with_hash_zdk(kPrograms[1].hash, 0, kKeptSource), true,
                              fits);
         },
         {"whole"}},
        {"tresk_ppro_check_in_sm",
         ppro,
         Cost::reader,
         [](Random&) { return shown(tresk_ppro_check_in_sm(kKeptProgram.hash)); },
         {"-1"}},
        {"tresk_ppro_get_same_node_by_hash", ppro, Cost::reader, same_hash, {"0 1"}},
        {"tresk_ppro_get_action", ppro, Cost::reader, action, {"0 stop"}},
        {"ppro_path_in_blacklist", ppro, Cost::reader, blacklisted, {"right"}},
        {"tresk_ppro_add_zdk",
         ppro,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_ppro_add_zdk(passing_program(random), type(random), 0, kSource));
         },
         {"0", "1", "-2"}},
        {"tresk_ppro_remove_zdk",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_remove_zdk(passing_program(random), 0, kSource)); },
         {"0", "-3"}},
        {"tresk_ppro_update_zdk",
         ppro,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_ppro_update_zdk(passing_program(random), type(random), 0, kSource));
         },
         {"0", "-3"}},
        {"tresk_ppro_add",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_add(passing_program(random), type(random))); },
         {"0", "1", "-1", "-2"}},
        {"tresk_ppro_add_sm",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_add_sm(passing_program(random), type(random))); },
         {"0", "1", "-2"}},
        {"tresk_ppro_remove",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_remove(passing_program(random))); },
         {"0", "-1", "-3"}},
        {"tresk_ppro_remove_sm",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_remove_sm(passing_program(random))); },
         {"0", "-3"}},
        {"tresk_ppro_update",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_update(passing_program(random), type(random))); },
         {"0", "-1", "-3"}},
        {"tresk_ppro_update_sm",
         ppro,
         Cost::bus,
         [](Random& random) { return shown(tresk_ppro_update_sm(passing_program(random), type(random))); },
         {"0", "-3"}},
        {"tresk_ppro_remove_internal",
         ppro,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_ppro_remove_internal(passing_program(random), between(random, 0, 1)));
         },
         {"0", "-1", "-3"}},
        {"tresk_ppro_update_internal",
         ppro,
         Cost::bus,
         [](Random& random) {
             const int mode = between(random, 0, 1);
             return shown(tresk_ppro_update_internal(passing_program(random), type(random), mode));
         },
         {"0", "-1", "-3"}},
        // The service looks the link up, so it is the service itself.
        {"tresk_get_pid_by_path",
         ppro,
         Cost::bus,
         [](Random&) { return right(tresk_get_pid_by_path("/proc/self/exe") > 0); },
         {"right"}},
    };
}

} // namespace tresk::test
