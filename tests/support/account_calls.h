// The calls that the creation of an account makes on the recording platform with its factory defaults, as its trace
// shows them: first boot and the VM-access plugin create accounts in the same way.
#ifndef KELVANE_TESTS_SUPPORT_ACCOUNT_CALLS_H
#define KELVANE_TESTS_SUPPORT_ACCOUNT_CALLS_H

#include "tests/support/fake_os.h"
#include "tests/support/lines.h"

namespace account_calls {

// The look-ups of the default dashboard's widgets.
inline const Lines kDashboardLookUps = {
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"sysinfo\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"vexwatch\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"sysres\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"policysummary\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"attacksummary\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"alert\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"policy-sessions\", 2)",
    "nCfg_query(330)", "cmf_query_do_table_find(330, 0, \"sysop\", 2)",
};

// What comes first with the password "Secret-1".
inline const Lines kOperatorsPassword = {
    "copy_cmdb_default(340, 2464)",
    "check_passwd_policy(\"operator\", \"Secret-1\", 512)",
    "make_new_passwd(\"Secret-1\", 0)",
};

// From the access profile on, to the write that makes "operator" durable.
inline const Lines kOperatorsAccount = {
    "cmf_query_create(280)",
    "cmf_query_do_table_find(280, 0, \"prof_admin\", 2)",
    "cmf_query_free(280)",
    "cmf_query_create(340)",
    "passwd_policy_save_info(\"operator\")",
    "cmf_query_table_append(340, \"operator\")",
    "cmf_query_free(340)",
    "nCfg_query(340)",
    "cmf_query_create_child_with_key(340, 354, \"operator\")",
    "cmf_query_table_append(354 of \"operator\", {11, 1, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {12, 1, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {13, 2, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {14, 2, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {15, 2, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {16, 2, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {17, 1, 1, 300})",
    "cmf_query_table_append(354 of \"operator\", {18, 2, 1, 300})",
    "cmf_query_free(354 of \"operator\")",
    "nCfg_query(340)",
    "cmf_query_create_child_with_key(340, 14050, \"operator\")",
    "add_default_gui_dashboard(14050 of \"operator\", \"operator\", 0, 0, 1)",
    "cmf_query_free(14050 of \"operator\")",
    "cmf_get_cur_domain_id()",
    "cmf_write_config(7)",
};

// The random source holds 70 digits; an account without a password takes the first 64 of them as its own.
inline void write_random_digits(const FakeOs &os) {
  os.write("/dev/urandom", "0123456789012345678901234567890123456789012345678901234567890123456789");
}

}  // namespace account_calls

#endif
