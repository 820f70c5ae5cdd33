/*
 * The contract with the appliance: every call that the agent makes into its platform.
 *
 * The agent is a static library that is linked with one implementation of this header; platform/reference is the one in
 * this tree, tests/support holds a recording one, tests/platform is a conformance suite over this header alone. C
 * linkage. The agent calls from one thread only; one call may block (a database lock, a disk) but never for longer than
 * a few seconds. No call may end the process. Failure is a null pointer or a negative number; the platform explains a
 * failure of its own through its log. Texts handed to the platform are borrowed for the length of the call.
 *
 * Configuration database. Tables are addressed by number and hold records of fixed size (records.h). A record has a key
 * text (its name), and a key number that is unique in its table and never 0. A child table's records belong to one
 * record of its parent table and go with it. There are two ways to change a table:
 *   - through a query (commit, append, add_default_gui_dashboard, and passwd_policy_save_info along with them): this
 *     process sees the change at once; it is pending until cmf_write_config makes all pending changes durable together.
 *     A process that dies before leaves the configuration as it was.
 *   - through the session calls (__nCfg_sess_table_change_by_mkey, nCfg_table_delete_by_mkey) and ssh_pubkey_data_set:
 *     applied and durable when the call returns 0 (together with what is pending, when something is).
 * Other processes see what is durable. A look-up always answers from the current state, whoever changed it. A process
 * with pending changes hinders no other: several processes connect at once, and none of them carries a connection
 * through a fork. What another process did to a record while a change of it was pending never makes the write fail: a
 * change that cannot be made for that reason (its record or its owner is gone, or the name that it gives its record is
 * another's) is left out and reported. An appended record takes the place of one that has its name by then; that is
 * reported, too.
 *
 * Another process may put a new configuration in the place of a damaged one. From then on calls answer from the new
 * one; what is pending is dropped and reported, and the next call that would have made it durable fails, once. A change
 * to the old one through a query is refused, and counts as pending that was dropped. A write that the old configuration
 * took along, or may have, fails, too, and leaves nothing pending. Queries that were opened before find nothing and
 * take nothing, but for the shared ones: nCfg_query opens them again.
 *
 * A new configuration holds at least: the single records of tables 100 and 640 (the latter not enabled), the account
 * "admin" (visible, with the access profile "prof_admin"), that profile, the eight widgets "sysinfo", "vexwatch",
 * "sysres", "policysummary", "attacksummary", "alert", "policy-sessions" and "sysop", and the interface "port1" without
 * an endpoint.
 *
 * The agent closes one of its own descriptors a second time on purpose while it holds a connection. A platform opens
 * what it keeps open in conf_init; a descriptor that another call opens is closed again when that call returns, but for
 * those of a new configuration in the place of another.
 */
#ifndef KELVANE_PLATFORM_PLATFORM_H
#define KELVANE_PLATFORM_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#include "platform/records.h"

#ifdef __cplusplus
extern "C" {
#endif

struct rsa_st; /* OpenSSL's RSA */

/* A query on one table. A platform's own query structure begins with this head. */
struct cmf_query {
  uint32_t found_key_number; /* key number of the record that find, head or get_next last returned; 0 for none */
};

/* ---- connection ---------------------------------------------------------------------------------------------- */

/* Connects to the configuration, creating the factory defaults when there is none yet. 0, or negative: later calls on
 * tables then return nothing. A damaged configuration is set aside and reported, never overwritten. */
int32_t conf_init(void);

/* Closes the connection; what is pending is dropped. Frees the shared queries; a caller's own query may still be freed,
 * but finds nothing and takes nothing from then on: its changes are refused, also after another conf_init, and fail no
 * write. The debug record stays. May be called without conf_init. */
void conf_end(void);

/* The configuration domain that cmf_write_config takes. */
int32_t cmf_get_cur_domain_id(void);

/* Makes everything pending durable. 0 on success; non-zero: nothing of it became durable and it is pending still,
 * unless the configuration was replaced (above). */
int32_t cmf_write_config(int32_t domain);

/* ---- queries ------------------------------------------------------------------------------------------------- */

/* The shared query of a top-level table, lent until conf_end; null for an unknown table or on failure. It is never
 * freed by the caller. */
struct cmf_query *nCfg_query(uint32_t table);

/* A query of the caller's own on a top-level table, to be freed with cmf_query_free; null on failure. */
struct cmf_query *cmf_query_create(uint32_t table);

/* A query of the caller's own on the child table of one parent record, named by its key; null when there is no such
 * parent record or child table. An appended parent that is still pending counts as present. */
struct cmf_query *cmf_query_create_child_with_key(struct cmf_query *parent, uint32_t child_table, const char *key);

/* Frees a query made by one of the two calls above. In-place changes that were not committed are dropped. Null: no-op.
 */
void cmf_query_free(struct cmf_query *query);

/* The record with this key, or null. It is the query's copy: it may be changed in place, and becomes part of the
 * configuration with cmf_query_commit. Lent until the next find, head, get_next or update of the same query, or its
 * end. options is 0, key_kind is 2 (a key text); nothing else is used. */
void *cmf_query_do_table_find(struct cmf_query *query, int32_t options, const char *key, int32_t key_kind);

/* The single record of a table that has just one (tables 100 and 640), for changing in place; null on failure. Lent as
 * above. */
void *cmf_query_update(struct cmf_query *query);

/* Walks a table in key-number order: the first record, then each next one, null at the end. Records are lent as above.
 * The order is fixed by cmf_query_table_head: session changes made during the walk neither disturb nor repeat it. Null
 * also when a look fails: cmf_query_get_next then looks at the same record again, but behind a failed
 * cmf_query_table_head there is no walk. */
void *cmf_query_table_head(struct cmf_query *query);
void *cmf_query_get_next(struct cmf_query *query);

/* Makes the in-place changes of the record last lent by this query part of the (pending) configuration. 0, or negative
 * when nothing was lent or the change cannot be kept. */
int32_t cmf_query_commit(struct cmf_query *query);

/* Appends a copy of a record of the table's size (pending). It keeps its key number when it is written, unless another
 * process made a record of that key meanwhile: it then takes that one's place and number, or is left out when the name
 * was to come free and has not. In both cases a query on its child records that was opened before finds nothing and
 * takes nothing from then on. 0, or negative: a record of that key exists, the key is empty or not terminated, the
 * table has a single record, or failure. */
int32_t cmf_query_table_append(struct cmf_query *query, const void *record);

/* Replaces the record whose key stands in old_record by new_record, which may be the same memory; durable. session and
 * options are 0. 0, or negative when there is no such record or it cannot be written. */
int32_t __nCfg_sess_table_change_by_mkey(int32_t session, uint32_t table, const void *old_record,
                                         const void *new_record, int32_t options);

/* Deletes the record of that key with its child records; durable. 0, or negative. */
int32_t nCfg_table_delete_by_mkey(uint32_t table, const char *key);

/* ---- schema -------------------------------------------------------------------------------------------------- */

struct cmdb_table {
  uint32_t number;
  uint32_t record_size;
  const void *default_record; /* record_size bytes */
};

/* Table definitions by number: tables[n] for n from 1 to table_count, null where there is no table n; tables[0] is
 * unused. The agent only reads it. */
struct cmdb_schema {
  uint32_t table_count;
  const struct cmdb_table *const *tables;
};
extern struct cmdb_schema cmdb;

/* Fills record, which holds size bytes, with the table's default record (as much as fits; the rest stays as it is). */
void copy_cmdb_default(const struct cmdb_table *table, void *record, size_t size);

/* ---- log and shared state ------------------------------------------------------------------------------------ */

/* One line (or text) for the appliance log, printf style. Never blocks for long, never fails visibly. */
void message(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* The shared debug record, or null while there is none. Set by conf_init at the latest, also by one that fails; from
 * then on there is one to the end of the process, since a signal handler looks at it. */
extern struct ncfg_debug_zone *nCfg_debug_zone;

/* An entry for the appliance's system event log. result: 1 success, 2 failure. version, category and kind are passed
 * through as the platform's event definitions want them. */
void log_system_event(uint32_t event_id, int32_t version, int32_t category, const char *source, int32_t kind,
                      int32_t result, const char *text);

/* ---- accounts ------------------------------------------------------------------------------------------------ */

/* The stored form of a password (at most 128 characters), lent until the next call; null on failure. options is 0. */
const char *make_new_passwd(const char *password, int32_t options);

/* 0 when the password satisfies the policy for this account (whose password field is not looked at), else non-zero with
 * a reason, always terminated and possibly empty, in error_text. The password that the account has at present is no
 * reuse: a first boot that was cut off after the account was stored comes again with the same one. */
int32_t check_passwd_policy(const struct ncfg_account *account, const char *password, char *error_text,
                            size_t error_size);

/* Records the bookkeeping of the password policy (age, history) for the account's new password field (pending). The
 * account need not be stored yet. It is dropped again when the record's commit or append is refused because its query
 * was opened before the configuration was replaced, or before conf_end. */
void passwd_policy_save_info(struct ncfg_account *account);

/* Adds the platform's default GUI dashboard to the account through a query on its child table 14050 (pending). The last
 * three arguments are 0, 0 and 1. 0, or negative. */
int32_t add_default_gui_dashboard(struct cmf_query *query, const struct ncfg_account *account, int32_t options,
                                  int32_t position, int32_t add);

/* Stores an OpenSSH one-line public key in key slot 1, 2 or 3 of an account, replacing what is there; durable. 0, or
 * non-zero when there is no such account or slot, the text is no key, or it cannot be written. */
int32_t ssh_pubkey_data_set(const char *user_name, const char *public_key, int32_t slot);

/* ---- cryptographic services ---------------------------------------------------------------------------------- */

/* Seeds the platform's random source. 0, or negative. */
int32_t openssl_init_rng(void);

/* A fresh RSA key that the caller owns, or null. callback and argument are null. */
struct rsa_st *generate_RSA_key(int32_t bits, uint64_t exponent, void *callback, void *argument);

/* length random bytes. 0, or negative with the buffer unspecified. */
int32_t get_rnd_bytes(void *buffer, size_t length);

/* Decodes standard base64, skipping white space, into buffer. The number of bytes decoded, or -1 for a bad character,
 * bad padding or a buffer that is too small; the buffer then holds what was decoded before. */
int32_t miglib_b64_pton(const char *text, uint8_t *buffer, size_t size);

/* ---- time zone and files ------------------------------------------------------------------------------------- */

/* Puts the platform's daylight-saving rules into force for this process. */
void ncfg_active_dayst(void);

/* The zone name ("Europe/Berlin") of a time-zone index, lent for ever; for an unknown index that of index 0. */
const char *get_zoneinfo(int32_t index);

/* Copies a file whole, mode 0600, replacing the destination in one step. 0, or negative: no destination was changed. */
int32_t ncfg_copyfile(const char *source, const char *destination);

#ifdef __cplusplus
}
#endif

#endif
