/* The public headers are C11 as well: the daemon of a switch may be written in C. */
#include "netconf_bgp_public.h"
#include "netconf_public.h"
#include "plugin_public.h"

int wire_c11_last_sub_module(void);
size_t wire_c11_header_size(void);

int wire_c11_last_sub_module(void) {
    return BGP_SUB_MAX;
}

size_t wire_c11_header_size(void) {
    return sizeof(netconf_data_struc);
}
