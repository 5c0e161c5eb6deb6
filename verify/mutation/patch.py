"""The octets that a changed instruction of x86-64 has, in the place of those that it had."""

NOP = 0x90
# A branch is taken, or it is not; a value is true, or false; a constant has another lowest bit, a mask
# one bit less; a call is not made, or gives null.
CHANGES = {
    "branch": ["taken", "not taken"],
    "value": ["true", "false"],
    "constant": ["changed"],
    "call": ["removed"],
}


def patch(site, change, code, null_distance):
    """What stands in the place of an instruction's octets.

    null_distance: from the instruction's end to a function that writes null to where its first argument
    points.
    """
    if site.kind == "branch":
        return _jump(code) if change == "taken" else bytes([NOP] * len(code))
    if site.kind == "value":
        _expect(len(code) == 3 and code[0] == 0x0F and code[2] & 0xFC == 0xC0, site, code)
        return bytes([0xB0 | code[2] & 3, 1 if change == "true" else 0, NOP])
    if site.kind == "call":
        if not site.returns_object:
            return bytes([NOP] * len(code))
        _expect(len(code) == 5 and code[0] == 0xE8, site, code)
        return b"\xe8" + null_distance.to_bytes(4, "little", signed=True)
    size = _immediate_size(code)
    mask = (1 << 8 * size) - 1
    _expect(int.from_bytes(code[-size:], "little") == site.value & mask, site, code)
    value = site.value & mask
    changed = value ^ (value & -value if site.is_mask and value else 1)
    return code[:-size] + changed.to_bytes(size, "little")


def can_patch(site, code):
    """Whether a constant's instruction has it in octets of its own: a shift by 1 may not."""
    return site.kind != "constant" or _immediate_size(code) != 0


def _expect(held, site, code):
    if not held:
        raise ValueError(f"{site} is not what is encoded as {code.hex(' ')}")


def _jump(code):
    if len(code) == 2:  # 7x: conditional, EB: always
        return bytes([0xEB, code[1]])
    return bytes([NOP, 0xE9]) + code[2:]  # 0F 8x


def _immediate_size(code):
    """How many octets at the instruction's end are its constant."""
    at = 0
    word = wide = False
    while code[at] in (0x66, 0xF2, 0xF3, 0x2E, 0x36, 0x3E, 0x26, 0x64, 0x65, 0x67):
        word = word or code[at] == 0x66
        at += 1
    if code[at] & 0xF0 == 0x40:
        wide = code[at] & 8 != 0
        at += 1
    opcode = code[at]
    full = 2 if word else 4
    if opcode & 0xF8 == 0xB8:
        return 8 if wide else full
    if opcode & 0xF8 == 0xB0 or opcode in (0x80, 0x83, 0xC6, 0xC0, 0xC1, 0x6B, 0xA8, 0xF6):
        return 1
    if opcode in (0x81, 0xC7, 0x69, 0xA9, 0xF7):
        return full
    if opcode < 0x40 and opcode & 7 == 4:
        return 1
    if opcode < 0x40 and opcode & 7 == 5:
        return full
    return 0
