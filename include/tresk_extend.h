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
    TRESK_ERROR_AUTHORISATION = -1001,    /* authorisation failed */
    TRESK_ERROR_CANCELLED = -1002,        /* authorisation cancelled by the user */
    TRESK_ERROR_DISABLED = -1003,         /* the framework is disabled */
    TRESK_ERROR_DATABASE = -1004,         /* the service's policy store failed */
    TRESK_ERROR_LABEL_READ = -1005,       /* a label could not be read */
    TRESK_ERROR_LABEL_WRITE = -1006,      /* a label could not be written */
    TRESK_ERROR_INVALID_ARGUMENT = -1007, /* an argument was refused */
    TRESK_ERROR_LIST = -1008,             /* a list could not be extracted */
    TRESK_ERROR_FILE_ATTRIBUTE = -1009,   /* a file attribute could not be read or written */
    TRESK_ERROR_CONFIGURATION = -1010,    /* configuration error */
    TRESK_ERROR_SERVICE = -1011,          /* unknown service error, no usable bus, unresolvable path */
    TRESK_ERROR_NETWORK_CONTROL = -1012,  /* network control error */
    TRESK_ERROR_DEVICE_CONTROL = -1013,   /* device control error */
    TRESK_ERROR_DEVICE_EXISTS = -1014,    /* the device entry exists already */
    TRESK_ERROR_DEVICE_UNCHANGED = -1015  /* repeated device update */
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
                                      const char *method_name, struct _GVariant *parameters, int *error_code);

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
 * success all the same. A signal handler that runs during the wait fails the exchange, though the message has
 * gone out.
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

/**
 * tresk_netctl_communicate_with_kernel - tell the kernel module about a network control entry
 * @type: message type, sent as it is
 * @hash: the entry's path hash
 * @value: sent in front of the hash
 *
 * Sends and waits as tresk_hash_communicate_with_kernel().
 *
 * Returns: 0 when an answer came, -1 for a null @hash or a failed exchange, -2 when the kernel's framework
 * version is below 4.2.
 */
int tresk_netctl_communicate_with_kernel(uint32_t type, const char *hash, uint32_t value);

/**
 * tresk_pblk_communicate_with_kernel_zdk - tell the kernel module about a process blocking entry
 * @type: message type, sent as it is; 20 is sent only while no other entry shares the hash
 * @hash: the entry's path hash; its first 65 characters are sent
 * @mode: type of the entry's data source, for type 20
 * @data_source: name of the entry's data source, for type 20
 *
 * Waits up to one second for the module's answer.
 *
 * Returns: 0 when an answer came or nothing was to be sent, -1 for a null @hash, a failed exchange or an
 * unreadable policy, -2 when the kernel's framework version is below 4.2.
 */
int tresk_pblk_communicate_with_kernel_zdk(uint32_t type, const char *hash, int mode,
                                           const char *data_source);

/**
 * tresk_pblk_communicate_with_kernel - the same with mode 1 and the source ""
 * @type: message type
 * @hash: the entry's path hash
 * Returns: as tresk_pblk_communicate_with_kernel_zdk().
 */
int tresk_pblk_communicate_with_kernel(uint32_t type, const char *hash);

/* ---- Network control ---------------------------------------------------------------------------------- */

/**
 * struct netctl_node_data - one program under network control, without its presentation (4168 bytes)
 * @path: the program's path, NUL-terminated and zero-filled
 * @hash: the path hash, its first 64 bytes, NUL-terminated
 * @type: the control type
 */
typedef struct netctl_node_data {
    char path[4096];
    char hash[65];
    int32_t type;
} netctl_node_data;

/**
 * struct netctl_node_info - one program under network control (8524 bytes)
 * @path: the program's path, NUL-terminated and zero-filled, as all texts
 * @hash: the path hash, its first 64 bytes
 * @type: the control type
 * @name: display name, its first 255 bytes; "unknown" when missing
 * @ico: icon, its first 4095 bytes; "unknown" when missing
 * @server_type: kind of service; 0 when missing
 */
typedef struct netctl_node_info {
    char path[4096];
    char hash[65];
    int32_t type;
    char name[256];
    char ico[4096];
    int32_t server_type;
} netctl_node_info;

/**
 * struct netctl_ext_node_info - the same with the desktop entry (12620 bytes)
 * @path: the program's path, NUL-terminated and zero-filled, as all texts
 * @hash: the path hash, its first 64 bytes
 * @type: the control type
 * @name: display name, its first 255 bytes; "unknown" when missing
 * @ico: icon, its first 4095 bytes; "unknown" when missing
 * @desktop: desktop entry, its first 4095 bytes; "unknown" when missing
 * @server_type: kind of service; 0 when missing
 */
typedef struct netctl_ext_node_info {
    char path[4096];
    char hash[65];
    int32_t type;
    char name[256];
    char ico[4096];
    char desktop[4096];
    int32_t server_type;
} netctl_ext_node_info;

/**
 * user_distinguish - whether network control is kept per user: 0 no, else yes
 *
 * The library's copy of the policy's setting, 0 when it is loaded. tresk_netctl_get_user_distinguish() alone
 * sets it; every network control reader and the path hash go by it as it stands.
 */
extern int32_t user_distinguish;

/*
 * The readers read "/etc/tresk/netctl/netctl.xml", or the file they are given, afresh at every call. A policy
 * file that is missing or empty is created empty under its name, with the setting that user_distinguish
 * holds, and the call fails. An entry without path, hash or type is left out, as is one whose path is longer
 * than 4095 bytes.
 *
 * Array readers return @count contiguous records, or null: with @count 0 when no entry is accepted, with
 * @count unwritten when the file could not be read (a null @count or file fails likewise).
 *
 * The user filter (the readers with a uid): while user_distinguish is 0 the uid plays no part and every
 * user's entries count; else those of the first user element with this uid alone.
 */

/**
 * tresk_netctl_read_all_data_inner - every user's entries in a file
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_node_data *tresk_netctl_read_all_data_inner(const char *file, uint32_t *count);

/**
 * tresk_netctl_read_all_data - every user's entries in the policy
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_node_data *tresk_netctl_read_all_data(uint32_t *count);

/**
 * tresk_netctl_read_all_data_with_uid_inner - a file's entries after the user filter
 * @uid: user id
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_node_info *tresk_netctl_read_all_data_with_uid_inner(int32_t uid, const char *file, uint32_t *count);

/**
 * tresk_netctl_read_all_data_with_uid - the policy's entries after the user filter
 * @uid: user id
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_node_info *tresk_netctl_read_all_data_with_uid(uint32_t uid, uint32_t *count);

/**
 * tresk_netctl_ext_read_all_data_with_uid_inner - a file's entries with desktop, after the user filter
 * @uid: user id
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_ext_node_info *tresk_netctl_ext_read_all_data_with_uid_inner(int32_t uid, const char *file,
                                                                    int32_t *count);

/**
 * tresk_netctl_ext_read_all_data_with_uid - the policy's entries with desktop, after the user filter
 * @uid: user id
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_ext_node_info *tresk_netctl_ext_read_all_data_with_uid(uint32_t uid, int32_t *count);

/**
 * tresk_netctl_read_node_with_uid - the entry of a path, after the user filter
 * @uid: user id
 * @path: the path as it stands in the policy
 *
 * The first entry of that path decides: where it lacks its type or hash, the result is null.
 *
 * Returns: the record, to be released with free(), or null.
 */
netctl_node_info *tresk_netctl_read_node_with_uid(uint32_t uid, const char *path);

/**
 * tresk_netctl_ext_read_node_with_uid - the same with desktop
 * @uid: user id
 * @path: the path as it stands in the policy
 * Returns: the record, to be released with free(), or null.
 */
netctl_ext_node_info *tresk_netctl_ext_read_node_with_uid(uint32_t uid, const char *path);

/**
 * tresk_netctl_get_path_hash - the hash under which a program's network policy is kept
 * @path: the path
 * @uid: the user, who counts while user_distinguish is not 0
 *
 * SM3 of the path's first 4095 bytes, or of "path+uid", of which what stands behind the path's first 4085
 * bytes is cut to ten ("+" and nine characters of the uid). Sixty-four zeros while the framework's function
 * status 8 is 1.
 *
 * Returns: 64 lowercase hexadecimal digits, to be released with free(), or null for a null @path or when
 * memory runs out.
 */
char *tresk_netctl_get_path_hash(const char *path, int32_t uid);

/**
 * tresk_netctl_get_user_distinguish - read the policy's per-user setting into user_distinguish
 * Returns: 1 or 0, as user_distinguish is now, or -1 (user_distinguish unchanged) when the policy cannot be
 * read or has no such setting.
 */
int tresk_netctl_get_user_distinguish(void);

/*
 * The edits send texts cut to 4095 bytes (a display name to 254), never inside a UTF-8 character, and "" for
 * null. Entries of control type 2 are kept by the scene library too, which is asked first, with the path as
 * given: when it fails, its code is returned and said on standard output, and the service is not asked. They
 * return the service's answer, or -1 when the call failed or a text cannot be sent (nothing is changed then).
 */

/**
 * tresk_netctl_add - put a program under network control
 * @uid: user id
 * @path: the program
 * @type: control type; 2 is added to the scene first
 * @name: display name
 * @ico: icon
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_add(uint32_t uid, const char *path, int32_t type, const char *name, const char *ico,
                     int32_t server_type);

/**
 * tresk_netctl_ext_add - the same with the desktop entry
 * @uid: user id
 * @path: the program
 * @type: control type; 2 is added to the scene first
 * @name: display name
 * @ico: icon
 * @desktop: desktop entry
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_ext_add(uint32_t uid, const char *path, int32_t type, const char *name, const char *ico,
                         const char *desktop, int32_t server_type);

/**
 * tresk_netctl_remove - end a program's network control
 * @uid: user id
 * @path: the program; removed from the scene first, which need not have it
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_remove(uint32_t uid, const char *path);

/**
 * tresk_netctl_update - change a program's network control
 * @uid: user id
 * @path: the program
 * @type: control type; 1 is removed from the scene first, 2 added to it
 * @name: display name
 * @ico: icon
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_update(uint32_t uid, const char *path, int32_t type, const char *name, const char *ico,
                        int32_t server_type);

/**
 * tresk_netctl_ext_update - the same with the desktop entry
 * @uid: user id
 * @path: the program
 * @type: control type; 1 is removed from the scene first, 2 added to it
 * @name: display name
 * @ico: icon
 * @desktop: desktop entry
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_ext_update(uint32_t uid, const char *path, int32_t type, const char *name, const char *ico,
                            const char *desktop, int32_t server_type);

/**
 * tresk_netctl_set_user_distinguish - change the policy's per-user setting
 * @value: 0 for one policy, else one a user; user_distinguish follows only when it is read again
 * Returns: the service's answer, or -1.
 */
int tresk_netctl_set_user_distinguish(uint32_t value);

/* ---- Network control of packages ---------------------------------------------------------------------- */

/**
 * struct netctl_pkg_node_info - one package rule (12296 bytes)
 * @pkg: package name, NUL-terminated and zero-filled, as all texts
 * @type: the control type
 * @ico: icon, its first 4095 bytes; "unknown" when missing
 * @desktop: desktop entry, its first 4095 bytes; "unknown" when missing
 * @server_type: kind of service; 0 when missing
 */
typedef struct netctl_pkg_node_info {
    char pkg[4096];
    int32_t type;
    char ico[4096];
    char desktop[4096];
    int32_t server_type;
} netctl_pkg_node_info;

/**
 * struct netctl_pkg_path_node_info - the same with a program file of the package (16392 bytes)
 * @pkg: package name, NUL-terminated and zero-filled, as all texts
 * @path: program file; "unknown" when missing
 * @type: the control type
 * @ico: icon, its first 4095 bytes; "unknown" when missing
 * @desktop: desktop entry, its first 4095 bytes; "unknown" when missing
 * @server_type: kind of service; 0 when missing
 */
typedef struct netctl_pkg_path_node_info {
    char pkg[4096];
    char path[4096];
    int32_t type;
    char ico[4096];
    char desktop[4096];
    int32_t server_type;
} netctl_pkg_path_node_info;

/**
 * tresk_netctl_pkg_read_all_data_with_uid_inner - a file's package rules after the user filter
 * @uid: user id
 * @file: policy file to read
 * @count: receives the number of records
 *
 * A rule that names a program file which does not exist is left out.
 *
 * Returns: the records, to be released with free(), or null.
 */
netctl_pkg_node_info *tresk_netctl_pkg_read_all_data_with_uid_inner(uint32_t uid, const char *file,
                                                                    uint32_t *count);

/**
 * tresk_netctl_pkg_read_all_data_with_uid - the same for "/etc/tresk/netctl/netctl_pkg.xml"
 * @uid: user id
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
netctl_pkg_node_info *tresk_netctl_pkg_read_all_data_with_uid(uint32_t uid, uint32_t *count);

/**
 * tresk_netctl_pkg_read_node_with_uid - the rule of a package, after the user filter
 * @uid: user id
 * @pkg: package name
 * Returns: the record, to be released with free(), or null.
 */
netctl_pkg_node_info *tresk_netctl_pkg_read_node_with_uid(uint32_t uid, const char *pkg);

/**
 * tresk_netctl_pkg_path_read_node_with_uid - the same with the program file
 * @uid: user id
 * @pkg: package name
 *
 * A rule whose program file is longer than 4095 bytes is left out.
 *
 * Returns: the record, to be released with free(), or null.
 */
netctl_pkg_path_node_info *tresk_netctl_pkg_path_read_node_with_uid(uint32_t uid, const char *pkg);

/**
 * tresk_netctl_pkg_add - put a package under network control
 * @uid: user id
 * @pkg: package name
 * @type: control type; 2 is added to the scene first
 * @ico: icon
 * @desktop: desktop entry
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_pkg_add(uint32_t uid, const char *pkg, int32_t type, const char *ico, const char *desktop,
                         int32_t server_type);

/**
 * tresk_netctl_pkg_remove - end a package's network control
 * @uid: user id
 * @pkg: package name; removed from the scene first, which need not have it
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_pkg_remove(uint32_t uid, const char *pkg);

/**
 * tresk_netctl_pkg_update - change a package's network control
 * @uid: user id
 * @pkg: package name
 * @type: control type; 1 is removed from the scene first, 2 added to it
 * @ico: icon
 * @desktop: desktop entry
 * @server_type: kind of service
 * Returns: the service's answer, the scene's code when it failed, or -1.
 */
int tresk_netctl_pkg_update(uint32_t uid, const char *pkg, int32_t type, const char *ico, const char *desktop,
                            int32_t server_type);

/**
 * tresk_netctl_pkg_path_update - change a package's network control and its program file
 * @uid: user id
 * @pkg: package name
 * @path: program file; sent as it is, never cut; must not be null
 * @type: control type; the scene is not asked
 * @ico: icon
 * @desktop: desktop entry
 * @server_type: kind of service
 * Returns: the service's answer, or -1.
 */
int tresk_netctl_pkg_path_update(uint32_t uid, const char *pkg, const char *path, int32_t type,
                                 const char *ico, const char *desktop, int32_t server_type);

/**
 * tresk_netctl_pkg_path_add - not offered
 * Returns: -1000, always.
 */
int tresk_netctl_pkg_path_add(void);

/**
 * check_pkg_is_install - ask whether a package is installed
 * @pkgname: package name without version
 *
 * Asks rpm through a shell pipeline, or dpkg-query where there is no rpm. Names with characters that mean
 * something to a shell are refused.
 *
 * Returns: 1 installed, 0 not installed (also for an empty name, one with a line feed or one of more than
 * 4094 bytes), -1 for null, for a refused name or when the query could not be run.
 */
int check_pkg_is_install(const char *pkgname);

/**
 * check_program_is_exist - ask whether a file exists
 * @name: path
 * Returns: 1 when it does, else 0 (also for null).
 */
int check_program_is_exist(const char *name);

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

/* ---- Process blocking --------------------------------------------------------------------------------- */

/**
 * struct pblk_node_info - one blocked program (4161 bytes)
 * @path: the program's path, NUL-terminated and zero-filled
 * @hash: SHA-256 of the path text, its first 64 bytes, NUL-terminated
 */
typedef struct pblk_node_info {
    char path[4096];
    char hash[65];
} pblk_node_info;

/*
 * The readers read "/etc/tresk/pblk/pblk.xml", or the file they are given, as the process protection readers
 * read theirs. An entry may carry the type and the name of the data source that asked for it; each reader
 * says how it goes by them.
 */

/**
 * tresk_pblk_get_path_hash - the hash under which a path is kept
 * @path: the path; its first 4095 bytes count
 * Returns: 64 lowercase hexadecimal digits of its SHA-256, to be released with free(), or null for a null
 * @path or when memory runs out.
 */
char *tresk_pblk_get_path_hash(const char *path);

/**
 * tresk_pblk_read_all_data_with_file - a file's entries, whatever their source
 * @file: policy file to read
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_all_data_with_file(const char *file, int *count);

/**
 * tresk_pblk_read_all_data - the policy's entries, whatever their source
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_all_data(int *count);

/**
 * tresk_pblk_read_all_data_with_file_zdk - the paths of a file's entries of one source
 * @file: policy file to read
 * @type: type of the data source, which an entry must carry
 * @name: name of the data source, which an entry must carry
 * @count: receives the number of records
 *
 * The records' hashes are not read; the field holds zeros.
 *
 * Returns: the records, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_all_data_with_file_zdk(const char *file, int type, const char *name,
                                                       int *count);

/**
 * tresk_pblk_read_all_data_zdk - the paths of the policy's entries of one source
 * @type: type of the data source, which an entry must carry
 * @name: name of the data source, which an entry must carry
 * @count: receives the number of records
 * Returns: the records, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_all_data_zdk(int type, const char *name, int *count);

/**
 * tresk_pblk_read_node_with_path_zdk - the entry of a path and source
 * @path: the path as given (it is not made absolute); looked up below "/data" where "/home" or "/root" is
 *        bound from there
 * @type: type of the data source; an entry without one matches
 * @name: name of the data source; an entry without one matches
 * Returns: the record, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_node_with_path_zdk(const char *path, int type, const char *name);

/**
 * tresk_pblk_read_node_with_path - the same for type 1 and the name ""
 * @path: the path
 * Returns: the record, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_node_with_path(const char *path);

/**
 * tresk_pblk_read_node_with_hash_zdk - the entry of a hash and source
 * @hash: path hash
 * @type: type of the data source; an entry without one matches
 * @name: name of the data source; an entry without one matches
 * Returns: the record, to be released with free(), or null.
 */
pblk_node_info *tresk_pblk_read_node_with_hash_zdk(const char *hash, int type, const char *name);

/**
 * tresk_pblk_get_same_node_by_hash - count entries with a hash
 * @hash: path hash
 * @count: the number found is added to it; counting ends once it is above 1
 * Returns: 0, or -1 for null or an unreadable policy.
 */
int tresk_pblk_get_same_node_by_hash(const char *hash, int *count);

/*
 * The edits change @path in place: a leading "/data" is cut where the path without it is the same file. The
 * scene library is asked first; when it fails, its code is returned and said on standard output, and the
 * service is not asked. They return the service's answer, or -1 when the call failed or a text cannot be sent
 * (nothing but @path is changed then).
 */

/**
 * tresk_pblk_add_zdk - block a program
 * @path: the program; shortened in place
 * @type: type of the data source
 * @name: name of the data source
 * Returns: the service's answer; 1 when the scene has the path already; the scene's code when it failed; -1.
 */
int tresk_pblk_add_zdk(char *path, int type, const char *name);

/**
 * tresk_pblk_add - the same for type 1 and the name ""
 * @path: the program; shortened in place
 * Returns: as tresk_pblk_add_zdk().
 */
int tresk_pblk_add(char *path);

/**
 * tresk_pblk_remove_zdk - unblock a program
 * @path: the program; shortened in place
 * @type: type of the data source
 * @name: name of the data source
 * Returns: the service's answer; 0 when the scene does not have the path; the scene's code when it failed;
 * -1.
 */
int tresk_pblk_remove_zdk(char *path, int type, const char *name);

/**
 * tresk_pblk_remove - the same for type 1 and the name ""
 * @path: the program; shortened in place
 * Returns: as tresk_pblk_remove_zdk().
 */
int tresk_pblk_remove(char *path);

/* ---- Package black and white lists -------------------------------------------------------------------- */

/**
 * tresk_bwlist_add_zdk - put a package on a list
 * @list: the list, such as "white" or "black"
 * @rpm_name: package name
 * @type: type of the data source
 * @name: name of the data source
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_add_zdk(const char *list, const char *rpm_name, int type, const char *name);

/**
 * tresk_bwlist_del_zdk - take a package off a list
 * @list: the list
 * @rpm_name: package name
 * @type: type of the data source
 * @name: name of the data source
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_del_zdk(const char *list, const char *rpm_name, int type, const char *name);

/**
 * tresk_bwlist_get_root_distinguish_zdk - the lists' root switch
 * @type: sent as it is
 * @name: sent as it is, "" for null
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_get_root_distinguish_zdk(int type, const char *name);

/**
 * tresk_bwlist_set_root_distinguish_zdk - change the lists' root switch
 * @value: sent as it is
 * @type: sent as it is
 * @name: sent as it is
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_set_root_distinguish_zdk(int value, int type, const char *name);

/**
 * tresk_bwlist_clear_policy_zdk - clear the lists
 * @type: sent as it is
 * @name: sent as it is
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_clear_policy_zdk(int type, const char *name);

/**
 * tresk_bwlist_select_by_rpm_name_zdk - look a package up in "/etc/tresk/bwlist/bwlist.xml"
 * @list: the list; "bwlist" in mode 3 looks at "white" and "black" together
 * @rpm_name: package name
 * @mode: 3 whatever the source, else the type of the source that an entry must carry
 * @name: name of the source that an entry must carry ("" for null); plays no part in mode 3
 *
 * Returns: 1 found, 0 not found (also when the file cannot be read); for "bwlist" in mode 3: 2 when the
 * package is white-listed and not black-listed, else 3; -1 for null, and for "bwlist" in mode 3 when libxml2
 * has an error to report, also one left over from earlier work on the thread.
 */
int tresk_bwlist_select_by_rpm_name_zdk(const char *list, const char *rpm_name, int mode, const char *name);

/**
 * _bwlist_unite_select_by_rpm_name - look a package up in a list, whatever its source
 * @list: the list
 * @rpm_name: package name
 * Returns: 1 found, else 0 (also for null).
 */
int _bwlist_unite_select_by_rpm_name(const char *list, const char *rpm_name);

/**
 * _bwlist_independence_select_by_rpm_name - look a package and its source up in a list
 * @list: the list
 * @rpm_name: package name
 * @type: type of the data source, which an entry must carry
 * @name: name of the data source, which an entry must carry
 * Returns: 1 found, else 0 (also for null).
 */
int _bwlist_independence_select_by_rpm_name(const char *list, const char *rpm_name, int type,
                                            const char *name);

#ifdef __cplusplus
}
#endif

#endif
