/* SPDX-License-Identifier: LGPL-2.1-or-later */
/**
 * tresk_extend.h - client library of the tresk security framework
 *
 * The library changes the framework's policies through its system D-Bus service ("com.meron.tresk"), which
 * authorises the caller and writes the policy files, and through its scene library, which changes the running
 * framework. It reads the policy files that the service keeps below "/etc/tresk", and tells the kernel module
 * about changes over netlink. It keeps no state of its own, opens nothing when it is loaded and holds nothing
 * open between calls.
 *
 * Conventions, where a function does not say otherwise:
 *  - Texts are NUL-terminated. Texts sent to the service must be UTF-8: one that is not, or a null pointer
 *    where a text is wanted, is refused without a call (errno EINVAL, recorded as -1007).
 *  - Results that a function allocates belong to the caller, who releases them with free().
 *  - Records that a caller passes stay the caller's and are read during the call alone.
 *  - A function that runs out of memory returns its failure value with errno ENOMEM and writes no output; one
 *    that meets what the library did not expect, its failure value with errno EIO.
 *  - Calls that ask the service block until it answers, without a time limit: it may be asking the user.
 *  - Every function may be called from any thread at any time; none from a signal handler.
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
    TRESK_SUCCESS = 0,                    /**< done */
    TRESK_ERROR_AUTHORISATION = -1001,    /**< authorisation failed */
    TRESK_ERROR_CANCELLED = -1002,        /**< authorisation cancelled by the user */
    TRESK_ERROR_DISABLED = -1003,         /**< the framework is disabled */
    TRESK_ERROR_DATABASE = -1004,         /**< the service's policy store failed */
    TRESK_ERROR_LABEL_READ = -1005,       /**< a label could not be read */
    TRESK_ERROR_LABEL_WRITE = -1006,      /**< a label could not be written */
    TRESK_ERROR_INVALID_ARGUMENT = -1007, /**< an argument was refused */
    TRESK_ERROR_LIST = -1008,             /**< a list could not be extracted */
    TRESK_ERROR_FILE_ATTRIBUTE = -1009,   /**< a file attribute could not be read or written */
    TRESK_ERROR_CONFIGURATION = -1010,    /**< configuration error */
    TRESK_ERROR_SERVICE = -1011,          /**< unknown service error, no usable bus, unresolvable path */
    TRESK_ERROR_NETWORK_CONTROL = -1012,  /**< network control error */
    TRESK_ERROR_DEVICE_CONTROL = -1013,   /**< device control error */
    TRESK_ERROR_DEVICE_EXISTS = -1014,    /**< the device entry exists already */
    TRESK_ERROR_DEVICE_UNCHANGED = -1015  /**< repeated device update */
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
 * The service checks the caller's authorisation, which may mean to ask the user, does what the method says
 * and answers. Opens a fresh proxy on the system bus, calls once without a time limit and keeps nothing.
 * Works with and without a GLib main loop in the process; none is needed. A bus that goes away during the
 * call fails the call and nothing else.
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

/*
 * The switches are the service's: it authorises the caller, keeps them and sees to it that the framework goes
 * by them. Nothing is kept here; only the states of modules and the security status can be asked for.
 */

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

/* ---- File labels --------------------------------------------------------------------------------------- */

/*
 * The setters for one path make it absolute, cut a leading "/data" of a path below "/data/home" or
 * "/data/root" where the path without it is the same file, and change the running scene through the
 * framework's scene library, whose code they return: 0 done, -2 present already, -3 not present, other
 * negative numbers its own. They return -2 for a null argument and -1 for another label (both recorded as
 * -1007), and -1 for a path that cannot be made absolute (recorded as -1011). The label itself is not stored;
 * it only says what is to be done.
 */

/**
 * struct tresk_label_record - one path and its label, an element of a batch (4128 bytes)
 * @path: the path, NUL-terminated; taken as it is given
 * @label: the label, NUL-terminated
 */
typedef struct tresk_label_record {
    char path[4096];
    char label[32];
} tresk_label_record;

/**
 * struct tresk_dpkg_label_record - one path as a package-manager hook hands it over (4132 bytes)
 * @path: the path, NUL-terminated; taken as it is given
 * @unread: the hook's own, not read
 */
typedef struct tresk_dpkg_label_record {
    char path[4096];
    char unread[36];
} tresk_dpkg_label_record;

/**
 * tresk_label_set - give a file its execution label attribute
 * @path: the file
 *
 * A failure of the scene library is also said on standard output.
 *
 * Returns: the scene library's code; -1 for null (recorded as -1007) or an unresolvable path.
 */
int tresk_label_set(const char *path);

/**
 * tresk_protect_set_zdk - protect a file, or end its protection
 * @path: the file
 * @label: "readonly" or "verify" to protect, "none" to end it
 * @mode: not used
 * @extra: not used; may be null
 *
 * Returns: 0 also when the file was protected already, or was not; else as all setters of one path.
 */
int tresk_protect_set_zdk(const char *path, const char *label, int mode, const char *extra);

/**
 * tresk_protect_set - the same with mode 0
 * @path: the file
 * @label: the label
 * Returns: as tresk_protect_set_zdk().
 */
int tresk_protect_set(const char *path, const char *label);

/**
 * tresk_protect_set_sm - the same with mode 1
 * @path: the file
 * @label: the label
 * Returns: as tresk_protect_set_zdk().
 */
int tresk_protect_set_sm(const char *path, const char *label);

/**
 * tresk_protect_set_for_dir_zdk - protect all files below a directory in one step, or end their protection
 * @path: the directory, not made absolute; anything else is handled by tresk_protect_set_zdk()
 * @label: "none" ends the protection, any other text protects; null is refused for a directory too (-2)
 * @mode: not used
 * @extra: not used; may be null
 *
 * Returns: for a directory the scene library's code, logged unless 0, or -1 when it cannot be listed; for
 * anything else 0, or -1 for every failure. -1 for a null @path, without a word.
 */
int tresk_protect_set_for_dir_zdk(const char *path, const char *label, int mode, const char *extra);

/**
 * tresk_protect_set_for_dir - the same with mode 0
 * @path: the directory
 * @label: the label
 * Returns: as tresk_protect_set_for_dir_zdk().
 */
int tresk_protect_set_for_dir(const char *path, const char *label);

/**
 * tresk_protect_set_for_dir_sm - the same with mode 1
 * @path: the directory
 * @label: the label
 * Returns: as tresk_protect_set_for_dir_zdk().
 */
int tresk_protect_set_for_dir_sm(const char *path, const char *label);

/**
 * tresk_identify_set - deny a path to all users, and give it to an administrator's role
 * @path: the path
 * @label: "secadm", "audadm", or "none" to deny it only; tresk_identify_multi_set() takes a denial away
 *
 * Returns: the code of the last step; a path that is denied already (-2) does not end the call.
 */
int tresk_identify_set(const char *path, const char *label);

/**
 * tresk_exectl_set - put a file on the white list of execution control, or take it off
 * @path: the file
 * @label: "unknown" takes it off; "original", "verified", "mesoft", "parent", "script", "trusted" put it on
 *
 * Returns: as all setters of one path.
 */
int tresk_exectl_set(const char *path, const char *label);

/**
 * tresk_check_user_valid - have the service check a user's credential through PAM
 * @user: the user's name
 * @credential: what PAM asks for, such as the password
 *
 * Returns: the service's answer, -1001 to -1015 when the call failed, -2 for null (recorded as -1007).
 */
int tresk_check_user_valid(const char *user, const char *credential);

/*
 * The batch setters change the running scene in one call for all paths, which are taken as they are given.
 * They return -2 for null and for a count of 0 or less (recorded as -1007).
 */

/**
 * tresk_protect_multi_set - protect many files, or end their protection
 * @records: the files
 * @count: number of records
 *
 * The label of the first record decides for all: "none" ends the protection, any other text protects.
 *
 * Returns: @count, or the scene library's code; 0 when memory ran out.
 */
int tresk_protect_multi_set(const tresk_label_record *records, int count);

/**
 * tresk_identify_multi_set - deny paths to all users and give them to roles, or take both away
 * @records: the paths; each record's label counts for itself
 * @count: number of records; 0 is a bad argument, less gives 0
 *
 * "none" takes the denial and both roles away. "secadm" and "audadm" deny the path to all users and give it
 * to that role; any other label only denies. What is so already counts as done. A record that fails does not
 * end the call.
 *
 * Returns: the number of records that succeeded.
 */
int tresk_identify_multi_set(const tresk_label_record *records, int count);

/**
 * tresk_exectl_multi_set - put many files on the white list of execution control, or take them off
 * @records: the files
 * @count: number of records
 *
 * The label of the first record decides for all: "unknown" takes them off, any other text puts them on.
 *
 * Returns: the scene library's code; -1 when memory ran out.
 */
int tresk_exectl_multi_set(const tresk_label_record *records, int count);

/**
 * tresk_exectl_multi_set_for_dpkg - give many files their execution label attribute
 * @records: the files, as a package-manager hook hands them over
 * @count: number of records
 * Returns: the scene library's code; -1 when memory ran out.
 */
int tresk_exectl_multi_set_for_dpkg(const tresk_dpkg_label_record *records, int count);

/**
 * tresk_fpro_clear_policy_zdk - end the protection of all files
 *
 * Takes the files off one by one and stops at the first that cannot be.
 *
 * Returns: 0, or the scene library's code.
 */
int tresk_fpro_clear_policy_zdk(void);

/* ---- File hashes --------------------------------------------------------------------------------------- */

/*
 * The service reads the files, with its own rights, and keeps the hashes that it computed.
 */

/**
 * tresk_calc_file_hash_value - have the service compute a file's hash
 * @path: the file, as it is given
 * Returns: the hash, to be released with free(), or null when it is empty or the call failed.
 */
char *tresk_calc_file_hash_value(const char *path);

/**
 * tresk_get_file_hash_value - ask the service for a file's stored hash
 * @path: the file, as it is given
 * Returns: the hash, to be released with free(), or null when it is empty or the call failed.
 */
char *tresk_get_file_hash_value(const char *path);

/**
 * tresk_calc_multi_file_hash_value - have the service compute the hashes of many files in one call
 * @paths: the files, as they are given
 * @count: number of paths; 0 or less is a bad argument
 *
 * Returns: an array of @count texts of at most 64 characters, in the order of @paths; each text and then the
 * array are released with free(). Elements are null where the service answered fewer. Null for null, for a
 * bad count (both recorded as -1007), when the service answered none, and when the call failed.
 */
char **tresk_calc_multi_file_hash_value(const char *const *paths, int count);

/**
 * tresk_get_multi_file_hash_value - ask the service for the stored hashes of many files in one call
 * @paths: the files, as they are given
 * @count: number of paths; 0 or less is a bad argument
 * Returns: as tresk_calc_multi_file_hash_value().
 */
char **tresk_get_multi_file_hash_value(const char *const *paths, int count);

/* ---- Kernel module protection -------------------------------------------------------------------------- */

/*
 * The list of protected kernel modules is the scene library's. Failures are lines on standard error. The
 * forms with "_sm" and "_zdk" do what the plain one does.
 */

/**
 * get_kmod_name_from_ko - read a kernel module's name from its file
 * @path: the module file; compressed where the platform's libkmod reads it
 * Returns: the name in a zero-filled buffer of 1024 bytes, to be released with free(), or null.
 */
char *get_kmod_name_from_ko(const char *path);

/**
 * add_to_kmod_protect - protect the module of a file
 * @path: the module file
 * Returns: 0 also when it is protected already, and when the framework is disabled (nothing is changed then);
 * -1 for null, -2 when the name cannot be read, -3 when the scene library failed.
 */
int add_to_kmod_protect(const char *path);

/**
 * add_to_kmod_protect_sm - the "sm" side's name for add_to_kmod_protect()
 * @path: the module file
 * Returns: as add_to_kmod_protect().
 */
int add_to_kmod_protect_sm(const char *path);

/**
 * add_to_kmod_protect_zdk - the general form's name for add_to_kmod_protect()
 * @path: the module file
 * Returns: as add_to_kmod_protect().
 */
int add_to_kmod_protect_zdk(const char *path);

/**
 * remove_from_kmod_protect - end the protection of the module of a file
 * @path: the module file
 * Returns: 0 also when it is not protected; -1 for null, -2 when the name cannot be read, -3 when the scene
 * library failed.
 */
int remove_from_kmod_protect(const char *path);

/**
 * remove_from_kmod_protect_sm - the "sm" side's name for remove_from_kmod_protect()
 * @path: the module file
 * Returns: as remove_from_kmod_protect().
 */
int remove_from_kmod_protect_sm(const char *path);

/**
 * remove_from_kmod_protect_zdk - the general form's name for remove_from_kmod_protect()
 * @path: the module file
 * Returns: as remove_from_kmod_protect().
 */
int remove_from_kmod_protect_zdk(const char *path);

/**
 * add_kmod_to_kmod_protect - protect a module
 * @name: the module's name
 * Returns: 0 also when it is protected already, and when the framework is disabled (nothing is changed then);
 * -2 for null, else the scene library's code.
 */
int add_kmod_to_kmod_protect(const char *name);

/**
 * add_kmod_to_kmod_protect_sm - the "sm" side's name for add_kmod_to_kmod_protect()
 * @name: the module's name
 * Returns: as add_kmod_to_kmod_protect().
 */
int add_kmod_to_kmod_protect_sm(const char *name);

/**
 * add_kmod_to_kmod_protect_zdk - the general form's name for add_kmod_to_kmod_protect()
 * @name: the module's name
 * Returns: as add_kmod_to_kmod_protect().
 */
int add_kmod_to_kmod_protect_zdk(const char *name);

/**
 * remove_kmod_from_kmod_protect - end the protection of a module
 * @name: the module's name
 * Returns: 0 also when it is not protected; -1 for null, else the scene library's code.
 */
int remove_kmod_from_kmod_protect(const char *name);

/**
 * remove_kmod_from_kmod_protect_sm - the "sm" side's name for remove_kmod_from_kmod_protect()
 * @name: the module's name
 * Returns: as remove_kmod_from_kmod_protect().
 */
int remove_kmod_from_kmod_protect_sm(const char *name);

/**
 * remove_kmod_from_kmod_protect_zdk - the general form's name for remove_kmod_from_kmod_protect()
 * @name: the module's name
 * Returns: as remove_kmod_from_kmod_protect().
 */
int remove_kmod_from_kmod_protect_zdk(const char *name);

/**
 * check_kmod_in_sm - ask the service whether a module belongs to the "sm" side's data
 * @name: the module's name
 * Returns: 0 it does; else the service's answer; -1 for null, a name that cannot be sent or a failed call.
 */
int check_kmod_in_sm(const char *name);

/**
 * tresk_xattr_check_kmod_del_from_kernel - whether a module may be deleted from the kernel
 * @name: not used
 * @mode: not used
 * @extra: not used
 * Returns: -1000, always: not available in this release.
 */
int tresk_xattr_check_kmod_del_from_kernel(const char *name, uint32_t mode, const char *extra);

/* ---- Kernel notifications ----------------------------------------------------------------------------- */

/*
 * One message to the framework's kernel module and its answer, over a netlink socket that is opened for it.
 * They tell the running kernel of an entry that a policy has got or lost, and change no policy.
 */

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

/**
 * tresk_kmod_communicate_with_kernel_zdk - tell the kernel module about a protected kernel module
 * @type: message type, sent as it is; 8 is never sent in this release
 * @name: the module's name, at most 1000 bytes: sending a longer one ends the process
 * @mode: 0 ordinary caller, 1 the "sm" side
 * @extra: further text of the caller; may be null
 *
 * Waits up to one second for the module's answer.
 *
 * Returns: 0 when an answer came, -1 for a null @name or a failed exchange, -1000 for type 8.
 */
int tresk_kmod_communicate_with_kernel_zdk(uint32_t type, const char *name, int mode, const char *extra);

/**
 * tresk_kmod_communicate_with_kernel - the same with mode 0, unless the module is the "sm" side's
 * @type: message type
 * @name: the module's name
 *
 * Asks check_kmod_in_sm() first. A module of the "sm" side's is left alone: the line "no permission to change
 * sm data." goes to standard output and the call returns 0.
 *
 * Returns: as tresk_kmod_communicate_with_kernel_zdk().
 */
int tresk_kmod_communicate_with_kernel(uint32_t type, const char *name);

/**
 * tresk_kmod_communicate_with_kernel_sm - the same with mode 1, whoever owns the module
 * @type: message type
 * @name: the module's name
 * Returns: as tresk_kmod_communicate_with_kernel_zdk().
 */
int tresk_kmod_communicate_with_kernel_sm(uint32_t type, const char *name);

/**
 * tresk_devctl_communicate_with_kernel - tell the kernel module about a device policy
 * @type: message type, sent as it is
 * @data: the bytes to send
 * @len: their number, at most 1000
 *
 * Waits up to one second for the module's answer.
 *
 * Returns: 0 when an answer came, -1 for null, more than 1000 bytes or a failed exchange.
 */
int tresk_devctl_communicate_with_kernel(uint32_t type, const void *data, uint32_t len);

/**
 * tresk_convert_exectl_label_to_label_type - the kernel's number of an execution label
 * @label: the label, not null
 * Returns: 1 verified, 2 original, 3 mesoft, 4 trusted, 6 parent, 7 script, 5 for any other text.
 */
int tresk_convert_exectl_label_to_label_type(const char *label);

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
 * sets it; every network control reader and the path hash go by it as it stands, read once a call. A program
 * may write it while other threads call: each call goes by the old value or by the new one.
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

/* ---- Device control ------------------------------------------------------------------------------------ */

/*
 * The policies are the scene library's. There are two kinds: for a type of device (1 to 43, no product and
 * vendor id), and for a product and vendor id (type 0, both ids). Types 1, 17, 18 and 32 to 41 have no
 * policy. USB types are 0 to 21. Failures are logged and returned as -1.
 */

/**
 * struct tresk_device_policy - one device policy (412 bytes)
 * @dtype: type of device; 0 for a policy by product and vendor id, -1 in a listing for one without a number
 * @first_utype: USB type; not read by tresk_devctl_batch_add_perm(), filled by the full listing alone
 * @dpid: product id
 * @dvid: vendor id
 * @dperm: permission
 * @reserved: not read, returned as 0
 * @serial: serial number, NUL-terminated; listings leave it empty
 * @utype: USB type
 * @trailing: not read, returned as zeros
 */
typedef struct tresk_device_policy {
    int32_t dtype;
    uint32_t first_utype;
    uint32_t dpid;
    uint32_t dvid;
    int32_t dperm;
    uint32_t reserved;
    char serial[128];
    uint32_t utype;
    char trailing[256];
} tresk_device_policy;

/**
 * struct tresk_device_policy_short - one device policy of the "sm" listings (32 bytes)
 * @dtype: type of device, for policies by type
 * @zero_after_dtype: 0
 * @dpid: product id
 * @dvid: vendor id
 * @utype: USB type, for policies by product and vendor id
 * @zero_after_utype: 0
 * @dperm: permission
 * @zero_at_end: 0
 */
typedef struct tresk_device_policy_short {
    uint32_t dtype;
    uint32_t zero_after_dtype;
    uint32_t dpid;
    uint32_t dvid;
    uint32_t utype;
    uint32_t zero_after_utype;
    uint32_t dperm;
    uint32_t zero_at_end;
} tresk_device_policy_short;

/**
 * struct tresk_wireless_name - the name of a permitted wireless network (128 bytes)
 * @name: the name, NUL-terminated
 */
typedef struct tresk_wireless_name {
    char name[128];
} tresk_wireless_name;

/**
 * struct tresk_device_record - one device that was seen (548 bytes)
 * @first: number in column 1 of the database
 * @second: number in column 8
 * @third: id in column 2, hexadecimal there
 * @fourth: id in column 3, hexadecimal there
 * @text_1: text of column 4, its first 127 bytes
 * @text_2: text of column 5, its first 127 bytes
 * @time: text of column 6, its first 19 bytes: a date and time fits
 * @text_3: text of column 7, its first 255 bytes
 */
typedef struct tresk_device_record {
    int32_t first;
    int32_t second;
    uint32_t third;
    uint32_t fourth;
    char text_1[128];
    char text_2[128];
    char time[20];
    char text_3[256];
} tresk_device_record;

/**
 * tresk_devctl_add_perm - add a device policy
 * @dtype: type of device, or 0
 * @utype: USB type; only checked
 * @dpid: product id, or 0
 * @dvid: vendor id, or 0
 * @record_utype: USB type that a policy by product and vendor id is stored with
 * @serial: serial number of that policy, its first 255 bytes; null for none
 * @display_name: for the log alone; may be null
 * @dperm: permission
 * Returns: 0 or -1.
 */
int tresk_devctl_add_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid, uint32_t record_utype,
                          const char *serial, const char *display_name, int dperm);

/**
 * tresk_devctl_remove_perm - remove a device policy
 * @dtype: type of device, or 0
 * @utype: USB type; a policy by product and vendor id is looked for with it
 * @dpid: product id, or 0
 * @dvid: vendor id, or 0
 * @serial: serial number; null for none
 * @dperm: permission
 * Returns: 0 or -1.
 */
int tresk_devctl_remove_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid, const char *serial,
                             int dperm);

/**
 * tresk_devctl_update_perm - replace the permission of a device policy
 * @dtype: type of device, or 0
 * @utype: USB type of a policy by product and vendor id
 * @dpid: product id, or 0
 * @dvid: vendor id, or 0
 * @serial: serial number; null for none
 * @display_name: for the log alone; may be null
 * @dperm: new permission: 1, 2 or 5
 *
 * Adds the policy with the new permission, which may be there already, then removes it with the two others,
 * whatever comes of that.
 *
 * Returns: 0 or -1.
 */
int tresk_devctl_update_perm(uint32_t dtype, uint32_t utype, uint32_t dpid, uint32_t dvid, const char *serial,
                             const char *display_name, int dperm);

/**
 * tresk_devctl_wireless_ctl_add - permit a wireless network
 * @ssid: its name, at most 126 bytes; one of 127 bytes is registered with an empty name, a longer one refused
 * Returns: 0 or -1.
 */
int tresk_devctl_wireless_ctl_add(const char *ssid);

/**
 * tresk_devctl_wireless_ctl_del - no longer permit a wireless network
 * @ssid: its name, as for tresk_devctl_wireless_ctl_add()
 * Returns: 0 or -1.
 */
int tresk_devctl_wireless_ctl_del(const char *ssid);

/**
 * tresk_devctl_batch_add_perm - add many device policies in two steps, those by type first
 * @policies: the policies
 * @count: their number; null and less than 1 give -1
 *
 * Policies by product and vendor id are only added when the first element is one, and every element that is
 * no policy by type counts as one then. Of their serial numbers only the first byte is stored. A type without
 * a policy is passed on as a record of zeros. What was added stays when the second step fails.
 *
 * Returns: 0 or -1.
 */
int tresk_devctl_batch_add_perm(const tresk_device_policy *policies, int count);

/**
 * tresk_devctl_sm_add_perm - add a policy by type in the scene library's own numbers
 * @device_class: class
 * @subtype: type within the class
 * @perm: permission
 *
 * Nothing is checked or converted; the answer is logged at level 1.
 *
 * Returns: the scene library's code.
 */
int tresk_devctl_sm_add_perm(uint32_t device_class, uint32_t subtype, uint32_t perm);

/**
 * tresk_devctl_sm_remove_perm - remove a policy by type in the scene library's own numbers
 * @device_class: class
 * @subtype: type within the class
 * @perm: permission
 * Returns: the scene library's code.
 */
int tresk_devctl_sm_remove_perm(uint32_t device_class, uint32_t subtype, uint32_t perm);

/*
 * Listings return @count contiguous records, to be released with free(), or null for a null @count and on
 * failure. @count is then untouched, but where a listing says otherwise.
 */

/**
 * tresk_devctl_read_all_dev_data - all device policies, those by type first
 * @count: receives the number of records
 * Returns: the records; with nothing to list an array all the same, and 0.
 */
tresk_device_policy *tresk_devctl_read_all_dev_data(int *count);

/**
 * tresk_devctl_read_not_special_data - the policies by type
 * @count: receives the number of records
 * Returns: the records, or null when there is none.
 */
tresk_device_policy *tresk_devctl_read_not_special_data(int *count);

/**
 * tresk_devctl_read_special_xmldata - the policies by product and vendor id
 * @count: receives the number of records
 * Returns: the records, or null when there is none.
 */
tresk_device_policy *tresk_devctl_read_special_xmldata(int *count);

/**
 * tresk_devctl_read_all_ssid_data - the permitted wireless networks
 * @count: receives the number of names
 * Returns: the names, or null when the scene library gives no list;
 * an empty list gives an array all the same, and 0.
 */
tresk_wireless_name *tresk_devctl_read_all_ssid_data(int *count);

/**
 * tresk_devctl_sm_get_no_special - the policies by type as short records
 * @count: receives the number of records
 * Returns: the records; with nothing to list an array all the same, and 0.
 */
tresk_device_policy_short *tresk_devctl_sm_get_no_special(int *count);

/**
 * tresk_devctl_sm_read_special_xmldata - the policies by product and vendor id as short records
 * @count: receives the number of records, 0 also when there is none
 * Returns: the records, or null when there is none.
 */
tresk_device_policy_short *tresk_devctl_sm_read_special_xmldata(int *count);

/**
 * device_record_get - the devices seen in the last 60 days, newest first
 * @count: receives the number of records
 *
 * Reads the table device_record of "/etc/tresk/db/whlist.db". Failures, and an empty answer, are logged.
 *
 * Returns: the records, or null when there is none.
 */
tresk_device_record *device_record_get(int *count);

/**
 * tresk_devctl_xdg_insert_record - have the service add devices to the record
 * @records: the devices
 * @count: their number; null and less than 1 give -1
 * Returns: the service's answer; -1 when the call failed or a text cannot be sent.
 */
int tresk_devctl_xdg_insert_record(const tresk_device_record *records, int count);

/**
 * tresk_devctl_auto_sync_config - does nothing in this release
 * Returns: 0.
 */
int tresk_devctl_auto_sync_config(void);

/**
 * tresk_devctl_read_sys_devinfo - does nothing in this release
 * Returns: null.
 */
void *tresk_devctl_read_sys_devinfo(void);

/**
 * tresk_devctl_rebind_usb_device - does nothing in this release
 * Returns: 0.
 */
int tresk_devctl_rebind_usb_device(void);

/**
 * tresk_devctl_get_sm - does nothing in this release
 */
void tresk_devctl_get_sm(void);

/**
 * tresk_devctl_sm_clean_all_policies - does nothing in this release
 */
void tresk_devctl_sm_clean_all_policies(void);

/**
 * tresk_devctl_load_vex_policies - does nothing in this release
 */
void tresk_devctl_load_vex_policies(void);

/* ---- Package black and white lists -------------------------------------------------------------------- */

/*
 * The service keeps the lists in "/etc/tresk/bwlist/bwlist.xml". An entry is a package of a data source,
 * which is a number, its type, and a name.
 */

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
 * tresk_bwlist_get_root_distinguish_zdk - ask the service for the lists' root switch of a data source
 * @type: type of the data source
 * @name: name of the data source, "" for null
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_get_root_distinguish_zdk(int type, const char *name);

/**
 * tresk_bwlist_set_root_distinguish_zdk - change the lists' root switch of a data source
 * @value: the switch, sent as it is
 * @type: type of the data source
 * @name: name of the data source
 * Returns: the service's answer, or -1001 to -1015 when the call failed.
 */
int tresk_bwlist_set_root_distinguish_zdk(int value, int type, const char *name);

/**
 * tresk_bwlist_clear_policy_zdk - clear the lists of a data source's entries
 * @type: type of the data source
 * @name: name of the data source
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
