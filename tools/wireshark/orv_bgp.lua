-- The protocol between the BGP plug-in and the switch's configuration daemon, for Wireshark.
--
--   wireshark -X lua_script:tools/wireshark/orv_bgp.lua
--   tshark -X lua_script:tools/wireshark/orv_bgp.lua -i lo -f "tcp port 8888" -V
--
-- A request is a header of 16 bytes and a record. The daemon answers a configuration request with a
-- bare result code of 4 bytes, and a query with a message that has a header. Numbers have the host's
-- byte order, which both ends share. The dissector takes it from the first request of a connection or
-- from the preference.

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

-- Records, sub-modules and the names of numbers in them, from the headers.
local script = debug.getinfo(1, "S").source:match("^@?(.*)%.lua$")
local tables = dofile(script .. "_tables.lua")
local records, sub_modules, names = tables.records, tables.sub_modules, tables.names
names.valid_flag = { [1] = "valid" }
names.select_flag = { [1] = "best" }
names.source_type = { [1] = "internal", [2] = "local" }

local sub_module_names = {}
for code, row in pairs(sub_modules) do
  sub_module_names[code] = row.name
end

-- --- Wireshark's fields --------------------------------------------------------

local fields = {}

local constructors = {
  i32 = ProtoField.int32, u32 = ProtoField.uint32, u16 = ProtoField.uint16, u8 = ProtoField.uint8,
}

local function new_field(abbreviation, name, kind, value_names)
  local full = "orv_bgp." .. abbreviation
  if kind == "text" then
    fields[abbreviation] = ProtoField.string(full, name)
  elseif kind == "none" then
    fields[abbreviation] = ProtoField.none(full, name)
  else
    fields[abbreviation] = constructors[kind](full, name, base.DEC, value_names)
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
      new_field(name .. "." .. row.name, row.name, row.kind, names[row.name])
    end
  end
end
-- Fields that only replies have.
new_field("next_hop_num", "next_hop_num", "u32")
new_field("peer_cnt", "peer count", "u32")
for _, row in ipairs({
  { "get_count", "u32" }, { "rd_number", "u32" }, { "rd_str", "text" },
  { "evpn_route_number", "u32" }, { "evpn_route_str", "text" },
  { "valid_flag", "u8" }, { "select_flag", "u8" }, { "source_type", "u8" },
  { "extcommu_str_len", "u8" }, { "evpn_extcommunity_str", "text" },
  { "vni_str_len", "u8" }, { "evpn_vni_str", "text" },
  { "nexthop_number", "u32" }, { "nexthop_str", "text" }, { "metric", "u32" },
  { "locPrf", "u32" }, { "weight", "u32" }, { "aspath_str", "text" },
}) do
  new_field("evpn." .. row[1], row[1], row[2], names[row[1]])
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

-- --- Connections ------------------------------------------------------------------

local stream_of = Field.new("tcp.stream")

-- For each connection: its byte order, and the sub-module code that each answer belongs to.
-- Wireshark reads packets first in order and later in any order, so the code is stored by the
-- answer's frame.
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

-- Module ids are small numbers. Read in the wrong byte order, they are large.
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

-- Adds the record at `offset`. Returns its tree and the values of its fields by name.
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

-- Each function adds the payload's content from `offset` on. Returns the end of the content,
-- or nil when the counts announce more than the payload has.

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

function replies.BGP_SUB_RPC_IP_BGP_SUMMARY(tree, buffer, offset, little)
  local name = "bgp_rpc_ip_bgp_summary_output_neighbors"
  if not has_room(buffer, offset, records[name].size) then
    return nil
  end
  local _, block = add_record(tree, name, buffer, offset, little)
  return add_counted(tree, "bgp_rpc_ip_bgp_summary_output_entry", buffer,
    offset + records[name].size, block.neighbor_number, little)
end

function replies.BGP_SUB_RPC_IP_BGP_NEIGHBOR(tree, buffer, offset, little)
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

function replies.BGP_SUB_RPC_IP_BGP_INFO(tree, buffer, offset, little)
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

-- Reads the packed reply: counts, flags and texts. A read past the end returns nil, and so do all
-- later ones.
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

function replies.BGP_SUB_RPC_IP_BGP_EVPN(tree, buffer, offset, little)
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

-- The content of a reply to clear-ip-bgp has no meaning.
function replies.BGP_SUB_RPC_CLEAR_IP_BGP(_, buffer)
  return buffer:len()
end

for _, row in pairs(sub_modules) do
  assert(replies[row.name] or not row.is_query, "no function reads the reply to " .. row.name)
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
  say(names.op[values.op])
  local family = values.address_family or (values.afi and values)
  if family and names.afi[family.afi] then
    say(names.afi[family.afi] .. "/" .. (names.safi[family.safi] or family.safi))
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
  local size = records[row.record].size
  if buffer:len() - header_size ~= size then
    tree:add_proto_expert_info(expert.bad_length, string.format(
      "the payload has %d bytes, %s has %d", buffer:len() - header_size, row.record, size))
  end
  local about = ""
  if has_room(buffer, header_size, size) then
    local _, values = add_record(tree, row.record, buffer, header_size, little)
    about = subject(values)
  end
  tree:append_text(" " .. about)
  pinfo.cols.info:append(row.name .. " " .. about .. " ")
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
  local add_reply = row and replies[row.name]
  if not add_reply then
    tree:add_proto_expert_info(expert.unknown, "no query has the sub-module code " .. code)
    return buffer:len()
  end
  local stop = add_reply(tree, buffer, header_size, little)
  if not stop then
    tree:add_proto_expert_info(expert.bad_length, "the counts exceed the reply")
  elseif stop < buffer:len() then
    tree:add_proto_expert_info(expert.bad_length,
      string.format("%d bytes are left behind the last entry", buffer:len() - stop))
  end
  return buffer:len()
end

-- A length that no message can have makes the daemon close the connection. Here it ends the
-- dissection with the bytes received.
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

-- Answers are bare result codes on the configuration connection, and messages on the
-- connection of a query.
local function answers_query(pinfo)
  if not pinfo.visited or answers[pinfo.number] == nil then
    local row = sub_modules[connection().sub_mod]
    answers[pinfo.number] = row ~= nil and row.is_query
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

-- When the preference changes, the old port is removed.
local registered = protocol.prefs.port
function protocol.prefs_changed()
  if registered ~= protocol.prefs.port then
    DissectorTable.get("tcp.port"):remove(registered, protocol)
    registered = protocol.prefs.port
    DissectorTable.get("tcp.port"):add(registered, protocol)
  end
end
DissectorTable.get("tcp.port"):add(registered, protocol)
