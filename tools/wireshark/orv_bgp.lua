-- The protocol between the BGP plug-in and the switch's configuration daemon, for Wireshark.
--
--   wireshark -X lua_script:tools/wireshark/orv_bgp.lua
--   tshark -X lua_script:tools/wireshark/orv_bgp.lua -i lo -f "tcp port 8888" -V
--
-- A request is a header of 16 bytes and a record. A configuration request is answered by a bare
-- result code of 4 bytes, a query by a message with a header of its own. Numbers travel in the host's
-- byte order, which both ends share: it is taken from the first request of a connection, or from
-- the preference.

local protocol = Proto("orv_bgp", "BGP configuration daemon protocol")

local byte_order_automatic, byte_order_big, byte_order_little = 0, 1, 2
protocol.prefs.byte_order = Pref.enum("Byte order", byte_order_automatic,
  "The byte order of the host on which plug-in and daemon run",
  { { 1, "As the first request of a connection tells", byte_order_automatic },
    { 2, "Big-endian", byte_order_big },
    { 3, "Little-endian", byte_order_little } }, false)
protocol.prefs.port = Pref.uint("TCP port", 8888, "The port that the daemon listens on")

local header_size = 16
local message_limit = 10485760 -- bytes, header included

-- --- Names ---------------------------------------------------------------------

local modules = {
  [1] = "MODULE_ID_USER", [2] = "MODULE_ID_VLAN", [3] = "MODULE_ID_BGP", [4] = "MODULE_ID_STATIS",
  [5] = "MODULE_ID_VXLAN", [6] = "MODULE_ID_COMMON", [7] = "MODULE_ID_ROUTE", [8] = "MODULE_ID_ALL",
}

local result_codes = {
  [0] = "SR_ERR_OK", [1] = "SR_ERR_INVAL_ARG", [2] = "SR_ERR_LY", [3] = "SR_ERR_SYS",
  [4] = "SR_ERR_NOMEM", [5] = "SR_ERR_NOT_FOUND", [6] = "SR_ERR_EXISTS", [7] = "SR_ERR_INTERNAL",
  [8] = "SR_ERR_UNSUPPORTED", [9] = "SR_ERR_VALIDATION_FAILED", [10] = "SR_ERR_OPERATION_FAILED",
  [11] = "SR_ERR_UNAUTHORIZED", [12] = "SR_ERR_LOCKED", [13] = "SR_ERR_TIME_OUT",
  [14] = "SR_ERR_CALLBACK_FAILED", [15] = "SR_ERR_CALLBACK_SHELVE", [16] = "SR_ERR_INVALID_VALUE",
  [17] = "SR_ERR_NO_EXISTS_CONFIG", [18] = "SR_ERR_CONFIG_FAILED", [19] = "SR_ERR_NOT_SUPPORT",
  [20] = "SR_ERR_SOCKET_FAILED",
}

local operations = { [1] = "set", [0] = "delete", [-1] = "other" }
local afis = { [1] = "AFI_IP", [2] = "AFI_IPV6", [3] = "AFI_L2VPN" }
local safis = { [1] = "SAFI_UNICAST", [2] = "SAFI_MULTICAST", [5] = "SAFI_EVPN", [71] = "SAFI_VRF" }
local valid_flags = { [1] = "valid" }
local select_flags = { [1] = "best" }
local source_types = { [1] = "internal", [2] = "local" }

-- What travels under a sub-module code: the request's record, and for a query the reply's shape.
local sub_modules = {
  [1] = { "BGP_SUB_BGP_AS", "bgp_as_val" },
  [2] = { "BGP_SUB_ROUTER_ID", "bgp_globle_config" },
  [3] = { "BGP_SUB_GLOBLE_NEIGHBOR_REMOTE_AS", "bgp_globle_neighbor_config" },
  [4] = { "BGP_SUB_GLOBLE_NEIGHBOR_DESCRIPTION", "bgp_globle_neighbor_config" },
  [5] = { "BGP_SUB_GLOBLE_NEIGHBOR_MULTIHOP", "bgp_globle_neighbor_config" },
  [6] = { "BGP_SUB_GLOBLE_NEIGHBOR_UPDATE_SOURCE", "bgp_globle_neighbor_config" },
  [7] = { "BGP_SUB_NETWORK", "bgp_address_family_network_universal_val" },
  [8] = { "BGP_SUB_REDISTRIBUTE", "bgp_address_family_redistribute_universal_val" },
  [9] = { "BGP_SUB_NEIGHBOR_ACTIVATE", "bgp_address_family_neighbor_universal_val" },
  [10] = { "BGP_SUB_NEIGHBOR_NEXT_HOP_SELF", "bgp_address_family_neighbor_universal_val" },
  [11] = { "BGP_SUB_NEIGHBOR_ROUTE_REFLECTOR_CLINET", "bgp_address_family_neighbor_universal_val" },
  [12] = { "BGP_SUB_ADDRESS_FAMILY_VRF", "address_family_val" },
  [13] = { "BGP_SUB_NEIGHBOR_VRF_REMOTE_AS", "bgp_address_family_neighbor_universal_val" },
  [14] = { "BGP_SUB_NEIGHBOR_VRF_ACTIVATE", "bgp_address_family_neighbor_universal_val" },
  [15] = { "BGP_SUB_NEIGHBOR_VRF_DESCRIPTION", "bgp_address_family_neighbor_universal_val" },
  [16] = { "BGP_SUB_NEIGHBOR_VRF_MULTIHOP", "bgp_address_family_neighbor_universal_val" },
  [17] = { "BGP_SUB_NEIGHBOR_VRF_UPDATE_SOURCE", "bgp_address_family_neighbor_universal_val" },
  [18] = { "BGP_SUB_RPC_IP_BGP_EVPN", "bgp_rpc_ip_bgp_evpn", "evpn" },
  [19] = { "BGP_SUB_RPC_IP_BGP_INFO", "bgp_rpc_ip_bgp_info_input", "info" },
  [20] = { "BGP_SUB_RPC_IP_BGP_NEIGHBOR", "bgp_rpc_ip_bgp_neighbor_input", "neighbor" },
  [21] = { "BGP_SUB_RPC_IP_BGP_SUMMARY", "bgp_rpc_ip_bgp_summary_input", "summary" },
  [22] = { "BGP_SUB_RPC_CLEAR_IP_BGP", "bgp_rpc_clear_ip_bgp_input", "anything" },
}
local first_query = 18

local sub_module_names = {}
for code, row in pairs(sub_modules) do
  sub_module_names[code] = row[1]
end

-- --- Records -------------------------------------------------------------------

-- Field by field as in netconf_bgp_public.h; a test compares them.
local records = {
  bgp_as_val = {
    size = 8,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "as", kind = "u32" },
  },
  bgp_globle_config = {
    size = 44,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "router_id", kind = "text", size = 33 },
  },
  bgp_globle_neighbor_config = {
    size = 412,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "neighbor_ip_or_tag", kind = "text", size = 47 },
    { offset = 55, name = "remote_as", kind = "text", size = 13 },
    { offset = 68, name = "description", kind = "text", size = 81 },
    { offset = 149, name = "update_source", kind = "text", size = 257 },
    { offset = 408, name = "ebgp_multihop", kind = "u32" },
  },
  address_family_val = {
    size = 84,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "afi", kind = "u32", names = afis },
    { offset = 12, name = "safi", kind = "u32", names = safis },
    { offset = 16, name = "vrf_name", kind = "text", size = 65 },
  },
  bgp_address_family_network_universal_val = {
    size = 404,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "address_family", record = "address_family_val" },
    { offset = 92, name = "network_ip_str", kind = "text", size = 50 },
    { offset = 142, name = "route_map", kind = "text", size = 257 },
    { offset = 400, name = "backdoor", kind = "u32" },
  },
  bgp_address_family_redistribute_universal_val = {
    size = 376,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "address_family", record = "address_family_val" },
    { offset = 92, name = "protocol_name", kind = "text", size = 11 },
    { offset = 103, name = "protocol_id_or_tag", kind = "text", size = 16 },
    { offset = 119, name = "route_map", kind = "text", size = 257 },
  },
  bgp_address_family_neighbor_universal_val = {
    size = 508,
    { offset = 0, name = "op", kind = "i32", names = operations },
    { offset = 4, name = "bgp_id", kind = "u32" },
    { offset = 8, name = "address_family", record = "address_family_val" },
    { offset = 92, name = "neighbor_ip_or_tag", kind = "text", size = 47 },
    { offset = 140, name = "active", kind = "u32" },
    { offset = 144, name = "next_hop_self", kind = "u32" },
    { offset = 148, name = "remote_as", kind = "text", size = 13 },
    { offset = 161, name = "description", kind = "text", size = 81 },
    { offset = 242, name = "update_source", kind = "text", size = 257 },
    { offset = 500, name = "ebgp_multihop", kind = "u32" },
    { offset = 504, name = "route_reflector_client", kind = "u32" },
  },
  bgp_rpc_ip_bgp_evpn = {
    size = 84,
    { offset = 0, name = "type", kind = "u32" },
    { offset = 4, name = "evpn_route_str", kind = "text", size = 80 },
  },
  bgp_rpc_ip_bgp_info_input = {
    size = 116,
    { offset = 0, name = "input_cnt", kind = "u32" },
    { offset = 4, name = "vrf_name", kind = "text", size = 64 },
    { offset = 68, name = "ip_type", kind = "u32" },
    { offset = 72, name = "all", kind = "u32" },
    { offset = 76, name = "ipaddr", kind = "text", size = 17 },
    { offset = 93, name = "ipaddr_str", kind = "text", size = 21 },
  },
  bgp_rpc_ip_bgp_neighbor_input = {
    size = 116,
    { offset = 0, name = "all", kind = "u32" },
    { offset = 4, name = "neighbor_addr", kind = "text", size = 47 },
    { offset = 51, name = "vrf_name", kind = "text", size = 65 },
  },
  bgp_rpc_ip_bgp_summary_input = {
    size = 76,
    { offset = 0, name = "input_cnt", kind = "u32" },
    { offset = 4, name = "vrf_name", kind = "text", size = 64 },
    { offset = 68, name = "ip_type", kind = "u32" },
    { offset = 72, name = "all", kind = "u32" },
  },
  bgp_rpc_clear_ip_bgp_input = {
    size = 92,
    { offset = 0, name = "address_family", record = "address_family_val" },
    { offset = 84, name = "clear_all", kind = "u32" },
    { offset = 88, name = "reconfig_type", kind = "u32" },
  },
  bgp_rpc_ip_bgp_info_output_public = {
    size = 56,
    { offset = 0, name = "version", kind = "u32" },
    { offset = 4, name = "router_id", kind = "text", size = 47 },
    { offset = 52, name = "prefix_number", kind = "u32" },
  },
  bgp_rpc_ip_bgp_info_output_entry = {
    size = 56,
    { offset = 0, name = "network", kind = "text", size = 47 },
    { offset = 48, name = "mask_len", kind = "u16" },
    { offset = 52, name = "nextop_num", kind = "u32" },
  },
  bgp_rpc_ip_bgp_info_next_hop_output_entry = {
    size = 92,
    { offset = 0, name = "nexthop", kind = "text", size = 47 },
    { offset = 47, name = "metric", kind = "text", size = 11 },
    { offset = 60, name = "loc_prf", kind = "u32" },
    { offset = 64, name = "weight", kind = "u32" },
    { offset = 68, name = "path", kind = "text", size = 21 },
    { offset = 89, name = "valid_flag", kind = "u8", names = valid_flags },
    { offset = 90, name = "select_flag", kind = "u8", names = select_flags },
    { offset = 91, name = "source_type", kind = "u8", names = source_types },
  },
  bgp_rpc_ip_bgp_neighbor_output_neighbor = {
    size = 312,
    { offset = 0, name = "neighbor_addr", kind = "text", size = 47 },
    { offset = 47, name = "vrf_name", kind = "text", size = 65 },
    { offset = 112, name = "remote_as", kind = "u32" },
    { offset = 116, name = "local_as", kind = "u32" },
    { offset = 120, name = "version", kind = "u16" },
    { offset = 122, name = "remote_router_id", kind = "text", size = 47 },
    { offset = 169, name = "state", kind = "text", size = 33 },
    { offset = 204, name = "home_time", kind = "u32" },
    { offset = 208, name = "interval", kind = "u32" },
    { offset = 212, name = "messages_in", kind = "u32" },
    { offset = 216, name = "notifications_in", kind = "u32" },
    { offset = 220, name = "queue_in", kind = "u32" },
    { offset = 224, name = "messages_out", kind = "u32" },
    { offset = 228, name = "notifications_out", kind = "u32" },
    { offset = 232, name = "queue_out", kind = "u32" },
    { offset = 236, name = "refresh_in", kind = "u32" },
    { offset = 240, name = "refresh_out", kind = "u32" },
    { offset = 244, name = "adver_interval", kind = "u32" },
    { offset = 248, name = "update_source", kind = "text", size = 47 },
    { offset = 296, name = "connection_established", kind = "u32" },
    { offset = 300, name = "connection_dropped", kind = "u32" },
    { offset = 304, name = "next_connect_timer", kind = "u32" },
    { offset = 308, name = "address_family_cnt", kind = "u32" },
  },
  bgp_rpc_ip_bgp_neighbor_output_addrsss_family = {
    size = 108,
    { offset = 0, name = "address_family", record = "address_family_val" },
    { offset = 84, name = "table_version", kind = "u32" },
    { offset = 88, name = "neighbor_version", kind = "u32" },
    { offset = 92, name = "index", kind = "u32" },
    { offset = 96, name = "offset", kind = "u8" },
    { offset = 97, name = "mask", kind = "u8" },
    { offset = 98, name = "route_reflector_client", kind = "u8" },
    { offset = 99, name = "community_attribute", kind = "u8" },
    { offset = 100, name = "prefix_accepted_statis", kind = "u32" },
    { offset = 104, name = "prefix_announced_statis", kind = "u32" },
  },
  bgp_rpc_ip_bgp_summary_output_neighbors = {
    size = 84,
    { offset = 0, name = "as", kind = "text", size = 21 },
    { offset = 21, name = "router_id", kind = "text", size = 47 },
    { offset = 68, name = "version", kind = "u32" },
    { offset = 72, name = "as_path_number", kind = "u32" },
    { offset = 76, name = "community_number", kind = "u32" },
    { offset = 80, name = "neighbor_number", kind = "u32" },
  },
  bgp_rpc_ip_bgp_summary_output_entry = {
    size = 160,
    { offset = 0, name = "neighbor", kind = "text", size = 47 },
    { offset = 47, name = "version", kind = "u8" },
    { offset = 48, name = "AS", kind = "text", size = 21 },
    { offset = 72, name = "msg_recvd", kind = "u32" },
    { offset = 76, name = "msg_send", kind = "u32" },
    { offset = 80, name = "tblver", kind = "u32" },
    { offset = 84, name = "inq", kind = "u32" },
    { offset = 88, name = "outq", kind = "u32" },
    { offset = 92, name = "up_down", kind = "text", size = 33 },
    { offset = 125, name = "state_pfxrcd", kind = "text", size = 33 },
  },
}

-- --- Wireshark's fields --------------------------------------------------------

local fields = {}

local constructors = {
  i32 = ProtoField.int32, u32 = ProtoField.uint32, u16 = ProtoField.uint16, u8 = ProtoField.uint8,
}

local function new_field(abbreviation, name, kind, names)
  local full = "orv_bgp." .. abbreviation
  if kind == "text" then
    fields[abbreviation] = ProtoField.string(full, name)
  elseif kind == "none" then
    fields[abbreviation] = ProtoField.none(full, name)
  else
    fields[abbreviation] = constructors[kind](full, name, base.DEC, names)
  end
end

new_field("module", "module", "u32", modules)
new_field("subMod", "subMod", "i32", sub_module_names)
new_field("resValue", "resValue", "i32")
new_field("dataLen", "dataLen", "i32")
new_field("result", "result code", "i32", result_codes)
for name, record in pairs(records) do
  new_field(name, name, "none")
  for _, row in ipairs(record) do
    if not row.record then
      new_field(name .. "." .. row.name, row.name, row.kind, row.names)
    end
  end
end
-- The packed replies' own.
new_field("next_hop_num", "next_hop_num", "u32")
new_field("peer_cnt", "peer count", "u32")
for _, row in ipairs({
  { "get_count", "u32" }, { "rd_number", "u32" }, { "rd_str", "text" },
  { "evpn_route_number", "u32" }, { "evpn_route_str", "text" },
  { "valid_flag", "u8", valid_flags }, { "select_flag", "u8", select_flags },
  { "source_type", "u8", source_types }, { "extcommu_str_len", "u8" },
  { "evpn_extcommunity_str", "text" }, { "vni_str_len", "u8" }, { "evpn_vni_str", "text" },
  { "nexthop_number", "u32" }, { "nexthop_str", "text" }, { "metric", "u32" },
  { "locPrf", "u32" }, { "weight", "u32" }, { "aspath_str", "text" },
}) do
  new_field("evpn." .. row[1], row[1], row[2], row[3])
end
protocol.fields = fields

local expert = {
  bad_length = ProtoExpert.new("orv_bgp.bad_length", "Length does not match", expert.group.MALFORMED,
    expert.severity.ERROR),
  unknown = ProtoExpert.new("orv_bgp.unknown", "Unknown code", expert.group.UNDECODED,
    expert.severity.WARN),
  refused = ProtoExpert.new("orv_bgp.refused", "The daemon refused the request",
    expert.group.RESPONSE_CODE, expert.severity.NOTE),
}
protocol.experts = expert

-- --- What a connection is known to be -------------------------------------------

local stream_of = Field.new("tcp.stream")

-- Per connection: its byte order, and the sub-module code that each answer belongs to. Packets are
-- first seen in order and later in any, so what an answer belongs to is kept by its frame.
local connections = {}
local answers = {}

function protocol.init()
  connections = {}
  answers = {}
end

local function connection()
  local stream = stream_of().value
  connections[stream] = connections[stream] or {}
  return connections[stream]
end

-- Module ids are small: read in the wrong order they are not.
local function is_little(conn, header)
  if protocol.prefs.byte_order ~= byte_order_automatic then
    return protocol.prefs.byte_order == byte_order_little
  end
  if conn.little == nil and header then
    conn.little = header(0, 4):le_uint() < header(0, 4):uint()
  end
  return conn.little == true
end

-- --- Reading -------------------------------------------------------------------

local function number_of(range, little)
  return little and range:le_uint() or range:uint()
end
local function signed_of(range, little)
  return little and range:le_int() or range:int()
end

local widths = { i32 = 4, u32 = 4, u16 = 2, u8 = 1 }

-- A text ends at its first NUL or at its field's end.
local function text_of(range)
  return (range:raw():match("^[^%z]*"))
end

local function add_number(tree, abbreviation, range, little)
  if little then
    return tree:add_le(fields[abbreviation], range)
  end
  return tree:add(fields[abbreviation], range)
end

-- Adds a record that lies at `offset`; returns its tree and the values of its fields by name.
local function add_record(tree, name, buffer, offset, little)
  local record = records[name]
  local branch = tree:add(fields[name], buffer(offset, record.size))
  local values = {}
  for _, row in ipairs(record) do
    if row.record then
      local _, inner = add_record(branch, row.record, buffer, offset + row.offset, little)
      values[row.name] = inner
    else
      local width = row.size or widths[row.kind]
      local range = buffer(offset + row.offset, width)
      if row.kind == "text" then
        values[row.name] = text_of(range)
        branch:add(fields[name .. "." .. row.name], range, values[row.name])
      else
        values[row.name] = row.kind == "i32" and signed_of(range, little) or number_of(range, little)
        add_number(branch, name .. "." .. row.name, range, little)
      end
    end
  end
  return branch, values
end

-- --- Replies -------------------------------------------------------------------

-- Each adds what the payload from `offset` on holds and returns where it ends, or nil when the
-- payload ends before what its counts announce.

local function has_room(buffer, offset, size)
  return offset + size <= buffer:len()
end

local function add_counted(tree, name, buffer, offset, count, little, each)
  for _ = 1, count do
    if not has_room(buffer, offset, records[name].size) then
      return nil
    end
    local branch, values = add_record(tree, name, buffer, offset, little)
    offset = offset + records[name].size
    if each then
      offset = each(branch, values, offset)
      if not offset then
        return nil
      end
    end
  end
  return offset
end

local replies = {}

function replies.summary(tree, buffer, offset, little)
  local name = "bgp_rpc_ip_bgp_summary_output_neighbors"
  if not has_room(buffer, offset, records[name].size) then
    return nil
  end
  local _, block = add_record(tree, name, buffer, offset, little)
  return add_counted(tree, "bgp_rpc_ip_bgp_summary_output_entry", buffer,
    offset + records[name].size, block.neighbor_number, little)
end

function replies.neighbor(tree, buffer, offset, little)
  if not has_room(buffer, offset, 4) then
    return nil
  end
  add_number(tree, "peer_cnt", buffer(offset, 4), little)
  return add_counted(tree, "bgp_rpc_ip_bgp_neighbor_output_neighbor", buffer, offset + 4,
    number_of(buffer(offset, 4), little), little, function(branch, peer, next_offset)
      return add_counted(branch, "bgp_rpc_ip_bgp_neighbor_output_addrsss_family", buffer,
        next_offset, peer.address_family_cnt, little)
    end)
end

function replies.info(tree, buffer, offset, little)
  local name = "bgp_rpc_ip_bgp_info_output_public"
  if not has_room(buffer, offset, 4 + records[name].size) then
    return nil
  end
  add_number(tree, "next_hop_num", buffer(offset, 4), little)
  local _, table_head = add_record(tree, name, buffer, offset + 4, little)
  return add_counted(tree, "bgp_rpc_ip_bgp_info_output_entry", buffer,
    offset + 4 + records[name].size, table_head.prefix_number, little,
    function(branch, network, next_offset)
      return add_counted(branch, "bgp_rpc_ip_bgp_info_next_hop_output_entry", buffer, next_offset,
        network.nextop_num, little)
    end)
end

-- The packed reply: steps through counts, flags and texts; a step past the end gives nil, and all
-- that follow as well.
local function reader(buffer, offset, little)
  local self = { offset = offset, tree = nil }
  local function take(size)
    if not self.offset or not has_room(buffer, self.offset, size) then
      self.offset = nil
      return nil
    end
    local range = buffer(self.offset, size)
    self.offset = self.offset + size
    return range
  end
  function self.number(name, size)
    local range = take(size or 4)
    if not range then
      return nil
    end
    add_number(self.tree, "evpn." .. name, range, little)
    return number_of(range, little)
  end
  function self.text(name)
    if not self.offset or not has_room(buffer, self.offset, 1) then
      self.offset = nil
      return nil
    end
    local text = text_of(buffer(self.offset))
    local range = take(#text + 1)
    if not range then
      return nil
    end
    return self.tree:add(fields["evpn." .. name], range, text)
  end
  return self
end

local function add_next_hop(read)
  local above = read.tree
  read.tree = read.text("nexthop_str") or above
  for _, name in ipairs({ "metric", "locPrf", "weight" }) do
    read.number(name)
  end
  read.text("aspath_str")
  read.tree = above
end

local function add_route(read)
  local above = read.tree
  read.tree = read.text("evpn_route_str") or above
  for _, name in ipairs({ "valid_flag", "select_flag", "source_type" }) do
    read.number(name, 1)
  end
  if (read.number("extcommu_str_len", 1) or 0) ~= 0 then
    read.text("evpn_extcommunity_str")
  end
  if (read.number("vni_str_len", 1) or 0) ~= 0 then
    read.text("evpn_vni_str")
  end
  for _ = 1, read.number("nexthop_number") or 0 do
    add_next_hop(read)
    if not read.offset then
      break
    end
  end
  read.tree = above
end

function replies.evpn(tree, buffer, offset, little)
  local read = reader(buffer, offset, little)
  read.tree = tree
  read.number("get_count")
  for _ = 1, read.number("rd_number") or 0 do
    read.tree = read.text("rd_str") or tree
    for _ = 1, read.number("evpn_route_number") or 0 do
      add_route(read)
      if not read.offset then
        return nil
      end
    end
    read.tree = tree
    if not read.offset then
      return nil
    end
  end
  return read.offset
end

-- The content of a reply to clear-ip-bgp says nothing.
function replies.anything(_, buffer)
  return buffer:len()
end

-- --- Messages ------------------------------------------------------------------

local function sub_module_name(code)
  return sub_module_names[code] or ("sub-module " .. code)
end

-- What a record is about, for the packet list.
local function subject(values)
  local words = {}
  local function say(text)
    if text and text ~= "" then
      words[#words + 1] = tostring(text)
    end
  end
  say(operations[values.op])
  local family = values.address_family or (values.afi and values)
  if family and afis[family.afi] then
    say(afis[family.afi] .. "/" .. (safis[family.safi] or family.safi))
  end
  if family and family.vrf_name ~= "" then
    say("vrf " .. family.vrf_name)
  end
  for _, name in ipairs({ "as", "router_id", "neighbor_ip_or_tag", "network_ip_str",
    "protocol_name", "neighbor_addr" }) do
    say(values[name])
  end
  return table.concat(words, " ")
end

local function add_header(tree, buffer, little)
  for i, name in ipairs({ "module", "subMod", "resValue", "dataLen" }) do
    add_number(tree, name, buffer((i - 1) * 4, 4), little)
  end
  local module = number_of(buffer(0, 4), little)
  if not modules[module] then
    tree:add_proto_expert_info(expert.unknown, "no module has the number " .. module)
  end
end

local function check_length(tree, buffer, little)
  local announced = signed_of(buffer(12, 4), little)
  if announced ~= buffer:len() then
    tree:add_proto_expert_info(expert.bad_length,
      string.format("dataLen is %d, the message has %d bytes", announced, buffer:len()))
  end
end

local function dissect_request(buffer, pinfo, root)
  local conn = connection()
  local little = is_little(conn, buffer)
  local tree = root:add(protocol, buffer(), "Request")
  add_header(tree, buffer, little)
  check_length(tree, buffer, little)
  local code = signed_of(buffer(4, 4), little)
  if not pinfo.visited then
    conn.sub_mod = code
  end
  tree:append_text(": " .. sub_module_name(code))
  local row = sub_modules[code]
  if not row then
    tree:add_proto_expert_info(expert.unknown, "no record has the sub-module code " .. code)
    pinfo.cols.info:append(sub_module_name(code) .. " ")
    return buffer:len()
  end
  local size = records[row[2]].size
  if buffer:len() - header_size ~= size then
    tree:add_proto_expert_info(expert.bad_length, string.format(
      "the payload has %d bytes, %s has %d", buffer:len() - header_size, row[2], size))
  end
  local about = ""
  if has_room(buffer, header_size, size) then
    local _, values = add_record(tree, row[2], buffer, header_size, little)
    about = subject(values)
  end
  tree:append_text(" " .. about)
  pinfo.cols.info:append(row[1] .. " " .. about .. " ")
  return buffer:len()
end

local function dissect_result(buffer, pinfo, root)
  local little = is_little(connection())
  local tree = root:add(protocol, buffer(), "Result")
  local code = signed_of(buffer(0, 4), little)
  local name = result_codes[code] or "unknown"
  add_number(tree, "result", buffer(0, 4), little)
  tree:append_text(string.format(": %d %s", code, name))
  if code ~= 0 then
    tree:add_proto_expert_info(expert.refused, string.format("refused with %d %s", code, name))
  end
  pinfo.cols.info:append(string.format("result %d %s ", code, name))
  return buffer:len()
end

local function dissect_reply(buffer, pinfo, root)
  local conn = connection()
  local little = is_little(conn, buffer)
  local tree = root:add(protocol, buffer(), "Reply")
  add_header(tree, buffer, little)
  check_length(tree, buffer, little)
  local code = signed_of(buffer(4, 4), little)
  tree:append_text(": " .. sub_module_name(code))
  pinfo.cols.info:append("reply to " .. sub_module_name(code) .. " ")
  local row = sub_modules[code]
  if not row or not row[3] then
    tree:add_proto_expert_info(expert.unknown, "no query has the sub-module code " .. code)
    return buffer:len()
  end
  local stop = replies[row[3]](tree, buffer, header_size, little)
  if not stop then
    tree:add_proto_expert_info(expert.bad_length, "the counts lead outside the reply")
  elseif stop < buffer:len() then
    tree:add_proto_expert_info(expert.bad_length,
      string.format("%d bytes are left behind the last entry", buffer:len() - stop))
  end
  return buffer:len()
end

-- A length that no message can have ends the connection at the daemon; here it ends the dissection
-- with what has come.
local function message_length(buffer, _, offset)
  local rest = buffer(offset):len()
  local announced = signed_of(buffer(offset + 12, 4), is_little(connection(), buffer(offset)))
  if announced < header_size or announced > message_limit then
    return rest
  end
  return announced
end

local function result_length()
  return 4
end

-- The configuration connection carries bare result codes back, a query's connection a message.
local function answers_query(pinfo)
  if not pinfo.visited or answers[pinfo.number] == nil then
    answers[pinfo.number] = (connection().sub_mod or 0) >= first_query
  end
  return answers[pinfo.number]
end

function protocol.dissector(buffer, pinfo, root)
  pinfo.cols.protocol = "ORV-BGP"
  pinfo.cols.info = ""
  if pinfo.dst_port == protocol.prefs.port then
    dissect_tcp_pdus(buffer, root, header_size, message_length, dissect_request)
  elseif answers_query(pinfo) then
    dissect_tcp_pdus(buffer, root, header_size, message_length, dissect_reply)
  else
    dissect_tcp_pdus(buffer, root, 4, result_length, dissect_result)
  end
end

-- The port is a preference: what it was before is forgotten.
local registered = protocol.prefs.port
function protocol.prefs_changed()
  if registered ~= protocol.prefs.port then
    DissectorTable.get("tcp.port"):remove(registered, protocol)
    registered = protocol.prefs.port
    DissectorTable.get("tcp.port"):add(registered, protocol)
  end
end
DissectorTable.get("tcp.port"):add(registered, protocol)
