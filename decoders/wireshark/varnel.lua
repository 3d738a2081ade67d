
-- What packets of link type 209 (I2C) say in the terms of SMBus and of the chips in the table above. The preference "board"
-- names a board file of varnel-sim(1), which says which chip is where; multiplexers are followed. Without one, "chips" lists
-- addresses and types: "58/car2512 20/pca9555". Lua 5.2 to 5.4 have no bit operation in common, so there is none here.
local protocol = Proto("varnel", "SMBus, PMBus and chips of management boards")
local fields = {
    transaction = ProtoField.string("varnel.transaction", "Transaction"),
    chip = ProtoField.string("varnel.chip", "Chip"),
    register = ProtoField.uint8("varnel.register", "Register", base.HEX),
    register_name = ProtoField.string("varnel.register_name", "Register name"),
    value = ProtoField.string("varnel.value", "Value"),
    pec = ProtoField.bool("varnel.pec", "Packet error code"),
    refused = ProtoField.bool("varnel.refused", "Not acknowledged"),
    lost = ProtoField.bool("varnel.lost", "Arbitration lost"),
    held = ProtoField.string("varnel.held", "Line held low"),
}
protocol.fields = fields
protocol.prefs.board = Pref.string("Board file", "", "Board file of varnel-sim, which says which chip is where")
protocol.prefs.chips = Pref.string("Chips", "", "ADDRESS/TYPE, separated by spaces, on each bus")

local bus_field, address_field = Field.new("i2c.bus"), Field.new("i2c.addr")
local flags_field, event_field = Field.new("i2c.flags"), Field.new("i2c.event")

local BLOCK = 0xFF
local READ, STOP, REFUSED, LOST = 0, 15, 16, 17 -- bits of the flags
local held_lines = {[0x40] = "SDA", [0x100] = "SCL"}

local function bit_of(value, bit) return math.floor(value / 2 ^ bit) % 2 == 1 end

local function signed(value, bits) return bit_of(value, bits - 1) and value - 2 ^ bits or value end

local function exclusive_or(one, other)
    local result = 0
    for bit = 0, 7 do
        if bit_of(one, bit) ~= bit_of(other, bit) then result = result + 2 ^ bit end
    end
    return math.floor(result)
end

-- The packet error code of SMBus: x^8 + x^2 + x + 1.
local function crc8(bytes)
    local crc = 0
    for _, byte in ipairs(bytes) do
        crc = exclusive_or(crc, byte)
        for _ = 1, 8 do
            local next = crc * 2 % 256
            crc = bit_of(crc, 7) and exclusive_or(next, 0x07) or next
        end
    end
    return crc
end

-- Which chips are where, and which of them a bus reaches now. `parents` has the buses in front of a bus behind a selector,
-- `open` the channels of a multiplexer once they are known.
local map = {}

local function add_section(name, section)
    local chip_type = chips[section.type or ""]
    if not chip_type then return end -- [board], and chips of plug-ins
    local buses = {section.bus}
    table.insert(map.chips, {name = name, type = chip_type, bus = section.bus, address = tonumber(section.address)})
    if section.other_bus then
        table.insert(map.chips,
            {name = name, type = chip_type, bus = section.other_bus, address = tonumber(section.other_address)})
        table.insert(buses, section.other_bus)
    end
    if section.other_bus or chip_type.channels > 0 then map.parents[name] = buses end
end

local function read_board(file)
    local name, section
    local opened, problem = io.open(file)
    if not opened then
        report_failure("varnel: " .. problem)
        return
    end
    for line in opened:lines() do
        local heading = line:match("^%s*%[([^%]]+)%]")
        local key, value = line:match("^%s*([^;#=%s][^=]-)%s*=%s*(.-)%s*$")
        if heading then
            if name then add_section(name, section) end
            name, section = heading, {}
        elseif key and section then
            section[key] = value:match("^(.-)%s+;") or value
        end
    end
    opened:close()
    if name then add_section(name, section) end
end

local function add_word(word)
    local address, chip_type = word:match("^0?x?(%x+)[=/]([%w-]+)$")
    if not address or not chips[chip_type] then
        report_failure("varnel: '" .. word .. "' is not ADDRESS/TYPE with the type of a chip")
        return
    end
    table.insert(map.chips, {name = chip_type, type = chips[chip_type], address = tonumber(address, 16)})
end

-- Whether a bus of the board file is connected to an adapter, as far as is known.
local function reaches(adapter, bus)
    if bus == nil or bus == adapter then return true end
    local mux, channel = bus:match("^([^.]+)%.?(%d*)$")
    local open = map.open[mux]
    if open and channel ~= "" and not bit_of(open, tonumber(channel)) then return false end
    for _, parent in ipairs(map.parents[mux] or {}) do
        if reaches(adapter, parent) then return true end
    end
    return false
end

local function chips_at(bus, address)
    local found = {}
    for _, chip in ipairs(map.chips) do
        if chip.address == address and reaches(tostring(bus), chip.bus) then table.insert(found, chip) end
    end
    return found
end

-- What a transfer changes when its STOP comes.
local function follow(transfer)
    for _, chip in ipairs(chips_at(transfer.bus, transfer.address)) do
        local written = transfer.written
        if chip.type.channels > 0 and written and #written > 0 and not transfer.refused then
            map.open[chip.name] = written[#written]
        end
    end
end

local function find_register(chip_type, command)
    local code = command
    for bit = 0, 7 do
        if bit_of(chip_type.flags, bit) and bit_of(command, bit) then code = code - 2 ^ bit end
    end
    for _, register in ipairs(chip_type.registers) do
        local place = code - register.code
        if place >= 0 and place < register.count then
            local endings = {
                ["from zero"] = string.format(" %d", place),
                ["by code"] = string.format(" 0x%02x", code),
            }
            return register, register.name .. (endings[register.ending] or "")
        end
    end
    return nil, ""
end

local function in_hex(bytes)
    local texts = {}
    for _, byte in ipairs(bytes) do table.insert(texts, string.format("%02x", byte)) end
    return table.concat(texts, " ")
end

local function text_in(block)
    local text = ""
    for place = 2, #block do
        if block[place] < 32 or block[place] > 126 then return nil end
        text = text .. string.char(block[place])
    end
    return text ~= "" and '"' .. text .. '"' or nil
end

-- With as many decimals as the exponent is worth, at most three.
local function scaled(value, exponent, unit)
    return string.format("%." .. math.min(3, math.max(0, -exponent)) .. "f %s", value * 2.0 ^ exponent, unit)
end

-- A raw value in its unit; nil if it is no quantity.
local function quantity(chip_type, register, raw)
    if register.format == "LINEAR11" then
        return scaled(signed(raw % 2048, 11), math.floor(signed(math.floor(raw / 2048), 5)), register.unit)
    elseif register.format == "LINEAR16" then
        return scaled(raw, chip_type.exponent, register.unit)
    elseif register.unit ~= "" then
        local value = register.signed == 1 and signed(raw, 8 * register.bytes) or raw
        return string.format("%." .. register.decimals .. "f %s", value / 10 ^ register.decimals, register.unit)
    end
end

-- The data of a register in words: a quantity, bits by name, a text, or bytes.
local function value_of(chip_type, register, data)
    if not register or #data == 0 then return in_hex(data) end
    if register.bytes == BLOCK then return text_in(data) or in_hex(data) end
    if #data ~= register.bytes or #data > 2 then return in_hex(data) end
    local raw = data[1]
    if #data == 2 then
        raw = register.format == "high byte first" and data[1] * 256 + data[2] or data[1] + 256 * data[2]
    end
    local number = quantity(chip_type, register, raw)
    if number then return number end
    local names = {}
    for bit, name in ipairs(register.bits) do
        if name ~= "" and bit_of(raw, bit - 1) then table.insert(names, name) end
    end
    local listed = #names > 0 and " (" .. table.concat(names, ", ") .. ")" or ""
    return string.format("0x%0" .. 2 * #data .. "x", raw) .. listed
end

local function first_of(bytes, count)
    local result = {}
    for place = 1, count do result[place] = bytes[place] end
    return result
end

-- Whether the last byte is a packet error code: a right one after those of the register.
local function has_pec(register, transfer, data)
    if not register or #data == 0 or not transfer.written then return false end
    local expected = register.bytes == BLOCK and data[1] + 1 or register.bytes
    if #data ~= expected + 1 then return false end
    local whole = {transfer.address * 2}
    for _, byte in ipairs(transfer.written) do table.insert(whole, byte) end
    if transfer.read then
        table.insert(whole, transfer.address * 2 + 1)
        for _, byte in ipairs(transfer.read) do table.insert(whole, byte) end
    end
    return crc8(whole) == 0
end

local function is_block(data, from) return #data > from and data[from] == #data - from end

local write_names = {[0] = "quick write", "send byte", "write byte", "write word"}
local read_names = {[0] = "quick read", "receive byte"}
local write_read_names = {["1 1"] = "read byte", ["1 2"] = "read word", ["3 2"] = "process call"}

-- The name that SMBus gives a transfer, without a packet error code.
local function transaction(written, read)
    if not written then return read_names[#read] or "read of " .. #read .. " bytes" end
    if not read then
        if #written > 3 and is_block(written, 2) then return "block write" end
        return write_names[#written] or "write of " .. #written .. " bytes"
    end
    local name = write_read_names[#written .. " " .. #read]
    if name then return name end
    if is_block(read, 1) then return #written == 1 and "block read" or "block process call" end
    return "write-read"
end

local function names_of(found)
    local names = {}
    for _, chip in ipairs(found) do table.insert(names, chip.name) end
    return #names > 0 and table.concat(names, ",") or "?"
end

-- A transfer in words; as long as a repeated START is to come, only what it is for.
local function words_of(transfer, continues)
    local found = chips_at(transfer.bus, transfer.address)
    local chip_type = found[1] and found[1].type
    local written, read = transfer.written, transfer.read
    local words = {chip = names_of(found), refused = transfer.refused, arrow = read and "->" or "<-"}
    local register
    local data = read or written
    if chip_type and #chip_type.registers > 0 and written and #written > 0 then
        words.register = written[1]
        register, words.register_name = find_register(chip_type, written[1])
        data = read or {table.unpack(written, 2)}
    end
    if has_pec(register, transfer, data) then
        words.pec, data = true, first_of(data, #data - 1)
        if read then read = first_of(read, #read - 1) else written = first_of(written, #written - 1) end
    end
    words.value = value_of(chip_type, register, data)
    words.transaction = not continues and transaction(written, read) or nil
    return words
end

local function text_of(words)
    local text = words.chip
    if words.register then
        local code = string.format("0x%02X", words.register)
        text = text .. " " .. (words.register_name ~= "" and words.register_name .. "(" .. code .. ")" or code)
    end
    if words.value ~= "" then text = text .. " " .. words.arrow .. " " .. words.value end
    return text .. (words.refused and " not acknowledged" or "")
end

local found_before = {} -- words of each packet, by its number
local open_transfers = {} -- of each bus, the one that a repeated START may continue
local unstopped = {} -- of each bus, transfers whose STOP is still to come
local has_stops = false -- in other captures no packet says where a STOP was

local function bytes_after_address(buffer)
    local bytes = {}
    for place = 1, buffer:len() - 1 do bytes[place] = buffer(place, 1):uint() end
    return bytes
end

local function stop(bus)
    for _, transfer in ipairs(unstopped[bus] or {}) do follow(transfer) end
    unstopped[bus], open_transfers[bus] = {}, nil
end

-- What a packet adds to the transfers of its bus.
local function understand(bus, address, flags, bytes)
    local reads = bit_of(flags, READ)
    local transfer = open_transfers[bus]
    if not (transfer and reads and transfer.address == address and not transfer.read) then
        if not has_stops then stop(bus) end
        transfer = {bus = bus, address = address}
        open_transfers[bus] = transfer
        unstopped[bus] = unstopped[bus] or {}
        table.insert(unstopped[bus], transfer)
    end
    transfer[reads and "read" or "written"] = bytes
    transfer.refused = bit_of(flags, REFUSED)
    local ends = bit_of(flags, STOP)
    local words = words_of(transfer, not ends and not reads)
    words.lost = bit_of(flags, LOST)
    has_stops = has_stops or ends
    if ends then stop(bus) end
    return words
end

local function show(words, buffer, packet, tree)
    local text = text_of(words)
    local branch = tree:add(protocol, buffer(), "Chip: " .. text)
    for name, field in pairs(fields) do
        if words[name] and words[name] ~= "" then branch:add(field, words[name]) end
    end
    packet.cols.info:set(text)
end

function protocol.init()
    map = {chips = {}, parents = {}, open = {}}
    found_before, open_transfers, unstopped, has_stops = {}, {}, {}, false
    if protocol.prefs.board ~= "" then read_board(protocol.prefs.board) end
    for word in protocol.prefs.chips:gmatch("%S+") do add_word(word) end
end

function protocol.dissector(buffer, packet, tree)
    local event = event_field()
    if event then
        local line = held_lines[event.value]
        if line then tree:add(protocol, buffer()):add(fields.held, line) end
    elseif bus_field() and buffer:len() > 0 then
        local number = packet.number
        found_before[number] = found_before[number] or
            understand(bus_field().value, address_field().value, flags_field().value, bytes_after_address(buffer))
        show(found_before[number], buffer, packet, tree)
    end
end

register_postdissector(protocol)
