/* SPDX-License-Identifier: LGPL-2.1-or-later */
/**
 * tresk_extend.h - client library of the tresk security framework
 *
 * The library changes the framework's policies through its system D-Bus service ("com.meron.tresk") and its
 * scene library, reads the policy files that the service keeps below "/etc/tresk", and tells the kernel
 * module about changes over netlink. It keeps no state of its own, opens nothing when it is loaded and holds
 * nothing open between calls.
 *
 * Conventions, where a function does not say otherwise:
 *  - Texts are NUL-terminated. Texts sent to the service must be UTF-8: one that is not, or a null pointer
 *    where a text is wanted, is refused without a call (errno EINVAL, recorded as -1007).
 *  - Results that a function allocates belong to the caller, who releases them with free().
 *  - A function that runs out of memory returns its failure value with errno ENOMEM and writes no output.
 *  - Calls that ask the service block until it answers, without a time limit: it may be asking the user.
 *  - Every function may be called from any thread at any time.
 *  - Failures are written to the framework's log and, where said, to its error record.
 */
#ifndef TRESK_EXTEND_H
#define TRESK_EXTEND_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* GLib's types, declared here so that this header needs no other project's. */
struct _GVariant;
struct _GError;

/**
 * enum tresk_status - the status codes of the service's answers
 *
 * Local failures use small negative numbers instead, which each function states.
 */
enum tresk_status {
    TRESK_SUCCESS = 0,
    TRESK_ERROR_AUTHORISATION = -1001,      /* authorisation failed */
    TRESK_ERROR_CANCELLED = -1002,          /* authorisation cancelled by the user */
    TRESK_ERROR_DISABLED = -1003,           /* the framework is disabled */
    TRESK_ERROR_DATABASE = -1004,           /* the service's policy store failed */
    TRESK_ERROR_LABEL_READ = -1005,         /* a label could not be read */
    TRESK_ERROR_LABEL_WRITE = -1006,        /* a label could not be written */
    TRESK_ERROR_INVALID_ARGUMENT = -1007,   /* an argument was refused */
    TRESK_ERROR_LIST = -1008,               /* a list could not be extracted */
    TRESK_ERROR_FILE_ATTRIBUTE = -1009,     /* a file attribute could not be read or written */
    TRESK_ERROR_CONFIGURATION = -1010,      /* configuration error */
    TRESK_ERROR_SERVICE = -1011,            /* unknown service error, no usable bus, unresolvable path */
    TRESK_ERROR_NETWORK_CONTROL = -1012,    /* network control error */
    TRESK_ERROR_DEVICE_CONTROL = -1013,     /* device control error */
    TRESK_ERROR_DEVICE_EXISTS = -1014,      /* the device entry exists already */
    TRESK_ERROR_DEVICE_UNCHANGED = -1015    /* repeated device update */
};

/* ---- Calling the service ------------------------------------------------------------------------------ */

/**
 * process_dbus_method - call one method of the framework's service and wait for its answer
 * @object_path: object path, such as "/ppro"
 * @interface_name: interface, such as "com.meron.tresk.ppro"
 * @method_name: method; null is refused with -1007 before any bus is touched
 * @parameters: argument tuple, or null for none. A floating tuple is consumed by the call; it stays the
 *              caller's when @method_name is null or no bus is reachable.
 * @error_code: written only on failure: -1001 to -1015, or 0 when the service's error is its own "OK";
 *              may be null
 *
 * Opens a fresh proxy on the system bus, calls once without a time limit and keeps nothing. Works with and
 * without a GLib main loop in the process; none is needed. A bus that goes away during the call fails the
 * call and nothing else.
 *
 * A null or malformed @object_path or @interface_name fails with -1007.
 *
 * Returns: the reply tuple, to be released with g_variant_unref(), or null on failure, which has then been
 * logged and recorded.
 */
struct _GVariant *process_dbus_method(const char *object_path, const char *interface_name,
                                      const char *method_name, struct _GVariant *parameters,
                                      int *error_code);

/**
 * process_dbus_other_method - the same for a service of the caller's choice
 * @service_name: well-known bus name of the service; null or malformed fails with -1007
 * @object_path: object path
 * @interface_name: interface
 * @method_name: method; null is refused with -1007
 * @parameters: as for process_dbus_method()
 * @error_code: as for process_dbus_method()
 *
 * Returns: as process_dbus_method().
 */
struct _GVariant *process_dbus_other_method(const char *service_name, const char *object_path,
                                            const char *interface_name, const char *method_name,
                                            struct _GVariant *parameters, int *error_code);

/**
 * handling_dbus_error - turn a failed call's error into a status code, log and record it
 * @error: a GError from a GDBus call; stays the caller's. Its message is shortened in place.
 *
 * Returns: -1001 to -1015 by the service's error name (an unknown name, and an error that did not come from
 * the other side, give -1011); 0 without any report for the service's "OK". A null @error gives -1011.
 */
int handling_dbus_error(struct _GError *error);

/* ---- Status, configuration and module switches -------------------------------------------------------- */

/**
 * tresk_setstatus - switch the framework as a whole
 * @status: 0 off, else on
 *
 * A change that the service made is logged at level 1 (on) or 2 (off), a refused one at level 3.
 *
 * Returns: the service's answer (0 done), or -1001 to -1015 when the call failed.
 */
int tresk_setstatus(int status);

/**
 * tresk_set_func_status - switch one protection function
 * @function_index: 0 exectl, 1 netctl, 2 fpro, 3 kmodpro, 4 3adm, 5 ppro, 6 devctl, 8 tpm, 9 sm, 10 pblk;
 *                  sent as it is, also outside these
 * @status: 0 off, else on
 *
 * Logs as tresk_setstatus().
 *
 * Returns: the service's answer (0 done), or -1001 to -1015 when the call failed.
 */
int tresk_set_func_status(int function_index, int status);

/**
 * tresk_conf_add - ask the service to add its configuration entries
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_conf_add(void);

/**
 * tresk_conf_remove - ask the service to remove its configuration entries
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_conf_remove(void);

/**
 * tresk_conf_set - set one configuration entry
 * @name: the entry's name
 * @value: its new value
 * Returns: the service's answer, or -1001 to -1015 when the call failed (-1007 for a bad @name).
 */
int tresk_conf_set(const char *name, int value);

/**
 * getModuleStatus_dbus - the configured state of a module
 * @module: module number, the service's
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int getModuleStatus_dbus(int module);

/**
 * setModuleStatus_dbus - change a module's state; the five integers are the service's and sent in order
 * @first: first integer
 * @second: second integer
 * @third: third integer
 * @fourth: fourth integer
 * @fifth: fifth integer
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int setModuleStatus_dbus(int first, int second, int third, int fourth, int fifth);

/**
 * setModuleStatusReboot_dbus - change a module's state from the next boot on; six integers, sent in order
 * @first: first integer
 * @second: second integer
 * @third: third integer
 * @fourth: fourth integer
 * @fifth: fifth integer
 * @sixth: sixth integer
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int setModuleStatusReboot_dbus(int first, int second, int third, int fourth, int fifth, int sixth);

/**
 * getCurModuleStatus_dbus - the state a module is really in
 * @module: module number, the service's
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int getCurModuleStatus_dbus(int module);

/**
 * getCurSecurityStatusForVexDefender - the current security status, as the defender shows it
 * Returns: the service's answer; 0 also when the call failed.
 */
int getCurSecurityStatusForVexDefender(void);

/**
 * getSecurityStatusForVexDefender - the configured security status and the state of module 3
 * @first: receives the security status; untouched when asking for it failed
 * @second: receives the state of module 3; untouched when either call failed
 *
 * Null pointers are refused: 0 without a call.
 *
 * Returns: 1 when both were read, else 0 (the first may have been written then).
 */
int getSecurityStatusForVexDefender(int *first, int *second);

/**
 * setSecurityForVexDefender - change the security status; two integers, sent in order
 * @first: first integer
 * @second: second integer
 * Returns: the service's answer; 0 also when the call failed.
 */
int setSecurityForVexDefender(int first, int second);

/**
 * setSecurityForVexDefenderReboot - change the security status from the next boot on; sent in order
 * @first: first integer
 * @second: second integer
 * @third: third integer
 * Returns: the service's answer; 0 also when the call failed.
 */
int setSecurityForVexDefenderReboot(int first, int second, int third);

/**
 * setSelinuxPolicy - choose the SELinux policy
 * @policy: the policy's name, the service's
 * Returns: the service's answer, or -1001 to -1015 when the call failed (-1007 for a bad @policy).
 */
int setSelinuxPolicy(const char *policy);

/**
 * checkSecuritySwitchReboot_dbus - ask whether a security switch takes effect after a reboot
 * @value: sent as it is
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int checkSecuritySwitchReboot_dbus(int value);

/**
 * checkSetModuleStatusReboot_dbus - ask whether a module's change takes effect after a reboot
 * @first: first integer
 * @second: second integer
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int checkSetModuleStatusReboot_dbus(int first, int second);

/**
 * processctrlPolkitForSetModuleStatus_dbus - have the user authorised for a module's change
 * @first: first integer
 * @second: second integer
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int processctrlPolkitForSetModuleStatus_dbus(int first, int second);

/**
 * getBootMode_dbus - the boot mode; asks nobody
 * Returns: 0, always.
 */
int getBootMode_dbus(void);

/**
 * tresk_netflow_perm_check - ask for the network-flow permission
 * Returns: the service's answer; -1 also when the call failed.
 */
int tresk_netflow_perm_check(void);

/* ---- Kernel notifications ----------------------------------------------------------------------------- */

/**
 * get_tid - the calling thread's kernel thread id
 * Returns: the id, as the gettid system call gives it.
 */
int64_t get_tid(void);

/**
 * tresk_hash_communicate_with_kernel - tell the kernel module about a changed hash
 * @type: message type, sent as it is (its low 16 bits)
 * @hash: hash text; 64 characters fit, a 65th goes into the word behind them, the rest is not sent
 * @value: sent in front of the hash
 *
 * Waits up to one second for the module's answer. An answer other than "succeeded" is logged, and is
 * success all the same.
 *
 * Returns: 0 when an answer came, -1 for a null @hash or a failed exchange.
 */
int tresk_hash_communicate_with_kernel(uint32_t type, const char *hash, uint32_t value);

/**
 * tresk_ppro_communicate_with_kernel_zdk - tell the kernel module about a process protection entry
 * @type: message type, sent as it is; 10 is sent only while no other entry shares the hash
 * @hash: the entry's path hash
 * @value: sent in front of the hash
 * @mode: 0 ordinary caller, 1 the "sm" side
 * @data_source: the entry's source, for type 10; null is no source
 *
 * With a mode other than 1, an entry of the "sm" side is left alone: the line "no permission to change sm
 * data." goes to standard output and the call returns 0. Waits up to one second for the module's answer.
 *
 * Returns: 0 when an answer came or nothing was to be sent, -1 for a null @hash, a failed exchange or an
 * unreadable policy, -2 when the kernel's framework version is below 4.2.
 */
int tresk_ppro_communicate_with_kernel_zdk(uint32_t type, const char *hash, uint32_t value, int mode,
                                           const char *data_source);

/**
 * tresk_ppro_communicate_with_kernel - the same with mode 0 and the source ""
 * @type: message type
 * @hash: the entry's path hash
 * @value: sent in front of the hash
 * Returns: as tresk_ppro_communicate_with_kernel_zdk().
 */
int tresk_ppro_communicate_with_kernel(uint32_t type, const char *hash, uint32_t value);

/**
 * tresk_ppro_communicate_with_kernel_sm - the same with mode 1 and the source ""
 * @type: message type
 * @hash: the entry's path hash
 * @value: sent in front of the hash
 * Returns: as tresk_ppro_communicate_with_kernel_zdk().
 */
int tresk_ppro_communicate_with_kernel_sm(uint32_t type, const char *hash, uint32_t value);

/* ---- Process protection ------------------------------------------------------------------------------- */

/**
 * struct ppro_node_info - one process protection entry (4168 bytes)
 * @path: the program's absolute path, NUL-terminated and zero-filled
 * @hash: SHA-256 of the path text, 64 lowercase hexadecimal digits, NUL-terminated
 * @type: the protection type
 */
typedef struct ppro_node_info {
    char path[4096];
    char hash[65];
    int32_t type;
} ppro_node_info;

/*
 * The readers read "/etc/tresk/ppro/ppro.xml", or the file they are given, afresh at every call. A policy
 * file that is missing or empty is created empty at "/etc/tresk/ppro/ppro.xml", and the call fails. libxml2
 * reports errors in the file through the thread's error handler (standard error by default).
 *
 * Array readers return @count contiguous records, or null: with @count 0 when no entry is accepted, with
 * @count unwritten when the file could not be read (a null @count or file fails likewise).
 *
 * Two filters exist. The numeric one ("mode"): 0 hides the entries of the "sm" side, any other value shows
 * all. The exact one (the _zdk readers): the entry's "sm_status" must be @mode in decimal (a missing one
 * matches 0), and its source must be @data_source (a missing one matches the empty text and null).
 */

/**
 * tresk_ppro_get_path_hash - the hash under which a path is kept
 * @path: the path; its first 4095 bytes count
 * Returns: 64 lowercase hexadecimal digits of its SHA-256, to be released with free(), or null for a null
 * @path or when memory runs out.
 */
char *tresk_ppro_get_path_hash(const char *path);

/**
 * tresk_ppro_read_all_data_with_file - the ordinary entries of a file
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_with_file(char *file, int *count);

/**
 * tresk_ppro_read_all_data_with_file_sm - all entries of a file
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_with_file_sm(char *file, int *count);

/**
 * tresk_ppro_read_all_data_internal - the policy's entries after the numeric filter
 * @count: receives the number of records
 * @mode: 0 ordinary entries, else all
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_internal(int *count, int mode);

/**
 * tresk_ppro_read_all_data - the policy's ordinary entries
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data(int *count);

/**
 * tresk_ppro_read_all_data_sm - all of the policy's entries
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_sm(int *count);

/**
 * tresk_ppro_read_all_data_with_file_zdk - a file's entries after the exact filter
 * @file: policy file to read
 * @count: receives the number of records
 * @mode: "sm" mode
 * @data_source: source, or null
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_with_file_zdk(const char *file, int *count, int mode,
                                                       const char *data_source);

/**
 * tresk_ppro_read_all_data_zdk - the policy's entries after the exact filter
 * @count: receives the number of records
 * @mode: "sm" mode
 * @data_source: source, or null
 * Returns: the records, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_all_data_zdk(int *count, int mode, const char *data_source);

/**
 * tresk_ppro_read_node_with_path_internal - the entry of a path, after the numeric filter
 * @path: the program's path; made absolute, and looked up below "/data" where "/home" or "/root" is bound
 *        from there
 * @mode: 0 ordinary entries, else all
 * Returns: the record, to be released with free(), or null (a path that cannot be made absolute is recorded
 * as -1011).
 */
ppro_node_info *tresk_ppro_read_node_with_path_internal(const char *path, int mode);

/**
 * tresk_ppro_read_node_with_path - the ordinary entry of a path
 * @path: as tresk_ppro_read_node_with_path_internal()
 * Returns: the record, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_node_with_path(const char *path);

/**
 * tresk_ppro_read_node_with_path_sm - the entry of a path, whoever owns it
 * @path: as tresk_ppro_read_node_with_path_internal()
 * Returns: the record, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_node_with_path_sm(const char *path);

/**
 * tresk_ppro_read_node_with_path_zdk - the entry of a path, after the exact filter
 * @path: as tresk_ppro_read_node_with_path_internal()
 * @mode: "sm" mode
 * @data_source: source, or null
 *
 * The first entry that passes decides: where it lacks its type or hash, the result is null.
 *
 * Returns: the record, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_node_with_path_zdk(const char *path, int mode, const char *data_source);

/**
 * tresk_ppro_read_node_with_hash_zdk - the look-up before a type-10 notification
 * @hash: path hash
 * @mode: "sm" mode
 * @data_source: source, or null
 *
 * Its selection is the notification's own: of the entries that pass the exact filter it considers those
 * whose first child is the hash, and passes over those whose hash is @hash.
 *
 * Returns: the record, to be released with free(), or null.
 */
ppro_node_info *tresk_ppro_read_node_with_hash_zdk(const char *hash, int mode, const char *data_source);

/**
 * tresk_ppro_check_in_sm - ask whether an entry belongs to the "sm" side
 * @hash: path hash
 * Returns: 0 when an entry with this hash does, else -1 (also for null or an unreadable policy).
 */
int tresk_ppro_check_in_sm(const char *hash);

/**
 * tresk_ppro_get_same_node_by_hash - count entries with a hash
 * @hash: path hash
 * @count: the number found is added to it; it goes on past an entry only while it is above 2, so that from 0
 *         only the file's first node is looked at
 * Returns: 0, or -1 for null or an unreadable policy.
 */
int tresk_ppro_get_same_node_by_hash(const char *hash, int *count);

/**
 * tresk_ppro_get_action - the "action" setting of "/etc/tresk/ppro/ppro.conf"
 * @action: receives a copy of all that follows the "=", blanks included, to be released with free();
 *          untouched where there is no setting
 * Returns: 0 when the file was read, with or without a setting; -1 for a null pointer, an unreadable file or
 * when memory runs out.
 */
int tresk_ppro_get_action(char **action);

/**
 * ppro_path_in_blacklist - ask whether a path may not be protected
 * @path: the path
 *
 * "/etc/tresk/ppro/ppro_blacklist" holds one pattern a line: a path, or, ending in "*", a text that may stand
 * anywhere in the path.
 *
 * Returns: 1 when it may not, 0 when it may, -1 when the list cannot be opened (said on standard error) or
 * @path is null.
 */
int ppro_path_in_blacklist(char *path);

/*
 * The edits make the path absolute (failure: -1, recorded as -1011) and cut a leading "/data" where the path
 * without it is the same file. Adding and removing first ask the scene library; when it fails, its code is
 * returned and said on standard output, and the service is not asked. They return the service's answer (0
 * done), or -1 when the call failed or a text cannot be sent (nothing is changed then).
 */

/**
 * tresk_ppro_add_zdk - protect a program
 * @path: the program
 * @type: protection type
 * @mode: 0 ordinary entry, 1 entry of the "sm" side
 * @data_source: name of the requesting source
 * Returns: the service's answer; 1 when the scene has the path already; the scene's code when it failed; -1.
 */
int tresk_ppro_add_zdk(const char *path, int type, int mode, const char *data_source);

/**
 * tresk_ppro_remove_zdk - end a program's protection
 * @path: the program
 * @mode: 0 ordinary entry, 1 entry of the "sm" side
 * @data_source: name of the requesting source
 * Returns: the service's answer; 0 when the scene does not have the path; the scene's code when it failed;
 * -1.
 */
int tresk_ppro_remove_zdk(const char *path, int mode, const char *data_source);

/**
 * tresk_ppro_update_zdk - change the type of a program's protection
 * @path: the program
 * @type: new protection type
 * @mode: 0 ordinary entry, 1 entry of the "sm" side
 * @data_source: name of the requesting source
 * Returns: the service's answer, or -1.
 */
int tresk_ppro_update_zdk(const char *path, int type, int mode, const char *data_source);

/**
 * tresk_ppro_add - tresk_ppro_add_zdk() with mode 0 and the source ""
 * @path: the program
 * @type: protection type
 * Returns: as tresk_ppro_add_zdk().
 */
int tresk_ppro_add(const char *path, int type);

/**
 * tresk_ppro_add_sm - tresk_ppro_add_zdk() with mode 1 and the source ""
 * @path: the program
 * @type: protection type
 * Returns: as tresk_ppro_add_zdk().
 */
int tresk_ppro_add_sm(const char *path, int type);

/**
 * tresk_ppro_remove - tresk_ppro_remove_zdk() with mode 0 and the source ""
 * @path: the program
 * Returns: as tresk_ppro_remove_zdk().
 */
int tresk_ppro_remove(const char *path);

/**
 * tresk_ppro_remove_sm - tresk_ppro_remove_zdk() with mode 1 and the source ""
 * @path: the program
 * Returns: as tresk_ppro_remove_zdk().
 */
int tresk_ppro_remove_sm(const char *path);

/**
 * tresk_ppro_update - tresk_ppro_update_zdk() with mode 0 and the source ""
 * @path: the program
 * @type: new protection type
 * Returns: as tresk_ppro_update_zdk().
 */
int tresk_ppro_update(const char *path, int type);

/**
 * tresk_ppro_update_sm - tresk_ppro_update_zdk() with mode 1 and the source ""
 * @path: the program
 * @type: new protection type
 * Returns: as tresk_ppro_update_zdk().
 */
int tresk_ppro_update_sm(const char *path, int type);

/**
 * tresk_ppro_remove_internal - older form of removing: the service alone, no source
 * @path: the program
 * @mode: 0 ordinary entry, else entry of the "sm" side
 * Returns: the service's answer, or -1.
 */
int tresk_ppro_remove_internal(const char *path, int mode);

/**
 * tresk_ppro_update_internal - older form of updating: no source
 * @path: the program
 * @type: new protection type
 * @mode: 0 ordinary entry, else entry of the "sm" side
 * Returns: the service's answer, or -1.
 */
int tresk_ppro_update_internal(const char *path, int type, int mode);

/**
 * tresk_get_pid_by_path - the process id of a running program
 * @path: the program; sent as it is given
 * Returns: the service's answer, or -1.
 */
int tresk_get_pid_by_path(const char *path);

#ifdef __cplusplus
}
#endif

#endif
