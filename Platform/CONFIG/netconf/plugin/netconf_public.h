/*
 * The message that the NETCONF plug-ins and the configuration daemon exchange,
 * and the codes in it. Plain C11 and C++17: the daemon includes this file too.
 *
 * Every number is in host byte order. Both ends run on the same host, so no
 * byte is ever swapped.
 */
#ifndef NETCONF_PUBLIC_H
#define NETCONF_PUBLIC_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#include <type_traits>
#endif

/*
 * The daemon relies on the layout of every record. After each record come one
 * NETCONF_FIELD for each field and one NETCONF_RECORD for the whole. C++ can
 * look them up: netconf_field<record, offset> is the field that starts there.
 */
#ifdef __cplusplus
template <typename record, size_t offset>
struct netconf_field;
template <typename record>
struct netconf_record;

#define NETCONF_FIELD(record, field, offset)                                                       \
    static_assert(offsetof(record, field) == (offset), #record "." #field " is at " #offset);      \
    template <>                                                                                    \
    struct netconf_field<record, offset> {                                                         \
        using type = decltype(record::field);                                                      \
        static constexpr const char *name = #field;                                                \
    }
#define NETCONF_RECORD(record, size)                                                               \
    static_assert(sizeof(record) == (size), #record " takes " #size " bytes");                     \
    static_assert(std::is_trivially_copyable<record>::value, #record " is bytes");                 \
    template <>                                                                                    \
    struct netconf_record<record> {                                                                \
        static constexpr const char *name = #record;                                               \
    }
#else
#define NETCONF_FIELD(record, field, offset)                                                       \
    static_assert(offsetof(record, field) == (offset), #record "." #field " is at " #offset)
#define NETCONF_RECORD(record, size)                                                               \
    static_assert(sizeof(record) == (size), #record " takes " #size " bytes")
#endif

/* The two ends of the daemon connection, and the longest message. */
#define NETCONF_DAEMON_ADDRESS "127.0.0.1"
#define NETCONF_DAEMON_PORT 8888
#define BUF_SIZE_MAX 10485760 /* bytes, header included: 10 MiB */

/*
 * The daemon's modules. A reply may carry any 32-bit number here, so in C++
 * the enumeration has a type that can hold them all.
 */
#ifdef __cplusplus
enum ENUM_MODULE_ID : int32_t {
#else
typedef enum ENUM_MODULE_ID {
#endif
    MODULE_ID_USER = 1,
    MODULE_ID_VLAN = 2,
    MODULE_ID_BGP = 3,
    MODULE_ID_STATIS = 4,
    MODULE_ID_VXLAN = 5,
    MODULE_ID_COMMON = 6,
    MODULE_ID_ROUTE = 7,
    MODULE_ID_ALL = 8
#ifdef __cplusplus
};
#else
} ENUM_MODULE_ID;
#endif

/* Operation codes. Reserved: no message carries one. */
enum { GET = 1, GET_ALL = 2, GET_WITH_VALUE = 3, CLEAR_NVI = 4, CLEAR_NVE = 5 };

/*
 * Result codes beyond sysrepo's own sr_error_e, which ends at 15. The daemon
 * answers with either kind; the transport and the callbacks use both.
 */
enum {
    SR_ERR_INVALID_VALUE = 16,    /* a value is not acceptable */
    SR_ERR_NO_EXISTS_CONFIG = 17, /* the configuration referred to does not exist */
    SR_ERR_CONFIG_FAILED = 18,    /* the configuration could not be applied */
    SR_ERR_NOT_SUPPORT = 19,      /* the daemon does not support the setting */
    SR_ERR_SOCKET_FAILED = 20     /* no exchange with the daemon took place */
};

/*
 * netconf_data_structure: 16 bytes of header, then the payload.
 *
 *        0       4       8       12      16
 *       +-------+-------+-------+-------+--------------
 *       |module |subMod |resVal |dataLen| transferData
 *       +-------+-------+-------+-------+--------------
 *
 *   offset size  field         meaning
 *        0    4  module        which of the daemon's modules the message is for
 *        4    4  subMod        which record or which query the payload is
 *        8    4  resValue      undefined in a configuration request, 0 in a
 *                              query; the daemon's result in a reply
 *       12    4  dataLen       length of the WHOLE message in bytes
 *       16    n  transferData  the payload, n = dataLen - 16
 *
 * A configuration request is answered by a bare 4-byte signed result code, a
 * query by another message of this form.
 */
#ifdef __cplusplus
/* An array without a size is C11; every C++ compiler accepts it. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#endif
typedef struct netconf_data_structure {
    enum ENUM_MODULE_ID module;
    int32_t subMod;
    int32_t resValue;
    int32_t dataLen;
    char transferData[];
} netconf_data_struc;
#ifdef __cplusplus
#pragma GCC diagnostic pop
#endif

NETCONF_FIELD(netconf_data_struc, module, 0);
NETCONF_FIELD(netconf_data_struc, subMod, 4);
NETCONF_FIELD(netconf_data_struc, resValue, 8);
NETCONF_FIELD(netconf_data_struc, dataLen, 12);
NETCONF_FIELD(netconf_data_struc, transferData, 16);
NETCONF_RECORD(netconf_data_struc, 16);

#endif
