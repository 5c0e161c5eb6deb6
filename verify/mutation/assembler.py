"""Finds what can be changed in a unit's assembler text, and labels it.

The text is what g++ -O0 -g1 -S writes for x86-64: not optimised, each branch, constant and call of the
source stands there once, behind a .loc with its place in the source. What the compiler adds of its
own is left out here, by what it looks like, so that no change is listed that could make no difference.
"""

import operator
import os.path
import re
import subprocess
from typing import NamedTuple


class Site(NamedTuple):
    """An instruction that can be changed."""

    label: str
    # "branch", "value" (of a comparison), "constant" or "call".
    kind: str
    # In the source.
    file: str
    line: int
    column: int
    # Of the function that it stands in, and of the one that it calls, for the compiler.
    function: str
    callee: str
    # The constant's value.
    value: int
    # The constant chooses bits.
    is_mask: bool
    # The call fills in an object, whose address is its first argument: that is to be null instead.
    returns_object: bool
    # What a call returns may be what its function returns; nothing shows whether that is anything.
    may_be_returned: bool
    # Changes after which everything is as it was, whatever is executed.
    without_effect: tuple


FILE = re.compile(r'\t\.file (\d+) (?:"([^"]*)" )?"([^"]*)"')
LOC = re.compile(r"\t\.loc (\d+) (\d+) (\d+)")
TYPE = re.compile(r"\t\.type\t(\S+), @function")
INSTRUCTION = re.compile(r"\t((?:rep )?[a-z]\w*)(?:\t(.*))?$")
JUMP = re.compile(r"j(?!mp)[a-z]+$")
# The ones that are two octets and a register without a prefix.
SET = re.compile(r"set[a-z]+ %[abcd]l$")
IMMEDIATE = re.compile(r"(mov|movabs|cmp|test|add|sub|imul|and|or|xor|sal|sar|shl|shr)([bwlq]?) \$(-?\d+), ")
WAY_OUT = {"%ebx", "%r12d", "%r13d", "%r14d", "%r15d"}
RESULT = re.compile(r"%(?:rax|eax|ax|al)\b")

# Of an object in the function's frame, or of a member.
ZEROES = re.compile(
    r"movl \$0, %eax; (?:movb \$0, (-\d+)\(%rbp,%rax\)|movq \S+, %rdx; movb \$0, (\d*)\(%rdx,%rax\)); "
    r"cmpq \$\d+, %rax; je \S+; addq \$1, %rax; jmp \S+; "
    r"(?:leaq \1\(%rbp\), %rax|movq \S+, %rax(?:; addq \$\2, %rax)?); movq %rax, %rdi; call _ZN\w+C[12]E"
)

NOT_READ = re.compile(r"call (\w+EDn|_ZNSt9__cmp_cat8__unspecC[12])")
NULL_EXCHANGED = re.compile(r"call _ZSt8exchangeI\w+DnET_")
INSERTED = re.compile(r"(.*; )?movabsq \$-\d+, %(\w+); andq %\2, %(\w+); orq %\w+, %\3")
# Guards of variables in functions: a second look at what another one has just seen.
GUARD = re.compile(r"_ZGV|__cxa_guard_acquire")
# Calls whose numbers are sizes of objects, which the allocator rounds up.
SIZES = re.compile(r"call (_Z(N\S*)?(nw|na|dl|da)(E|P|m)|__cxa_(allocate|throw|begin))")
# Calls of the compiler's and of the C++ library's that are not made for their effect on an object of
# the source; and what makes and destroys objects, which is not a mutator.
NO_MUTATOR = re.compile(r"_?__|_Unwind|_ZSt|_ZNK?S[ta]|\w*[CD][0-4]E")
# For scalars and for classes; operator delete of a class, too.
DELETES = re.compile(r"_Z(N\S+)?d[la]EPv\w*$|_Zd[la]Pv\w*$")
# Where the unwinder enters, in the tables of exceptions.
LANDING_PAD = re.compile(r"\t\.uleb128 (\.L\d+)-\.LFB\d+$")
# Behind them, clean-up is over.
CLEAN_UP_ENDS = re.compile(r"__cxa_(begin_catch|throw|rethrow|call_\w+)|_Unwind_Resume|_ZSt9terminatev")
# The search for a case.
CASE = re.compile(r"(?:cmp[bwlq] \$(?P<value>-?\d+)|test[bwlq] (?P<itself>%\w+)(?=, (?P=itself)$)), (?P<what>\S+)$")
CASE_JUMPS = {
    **{"je": operator.eq, "jne": operator.ne},
    **{"ja": operator.gt, "jnb": operator.ge, "jb": operator.lt, "jbe": operator.le},
    **{"jg": operator.gt, "jge": operator.ge, "jl": operator.lt, "jle": operator.le},
}
SIGNED = {"jg", "jge", "jl", "jle"}
# The register that the last argument, the order, is in.
ORDER_OF_ATOMIC = re.compile(
    r"call _ZNV?K?St(6atomic|12__atomic_ref)\w+?"
    r"(?:(?P<load>4load)|5store|8exchange|9fetch_(add|sub|and)|8fetch_or)E\w*St12memory_order(@PLT)?$"
)
# What has only its result: a walk's end, and, of constant functions, those whose result may be used.
ENDS = re.compile(r"\bend\(\) const$")
# Mutators of the C++ library and of C's that the library uses.
MUTATORS_OF_OTHERS = re.compile(
    r"(memcpy|memmove|memset|munmap|close|write|writev|ftruncate|unlink|rename|fcntl)(@PLT)?$"
    r"|_ZNSt(7__cxx1112basic_string|6vector|3map|5deque|10unique_ptr|8optional|7variant)\w*"
    r"(push_back|emplace|append|assign|insert|erase|clear|resize|reserve|pop_|pL|aS)"
)


class Instruction(NamedTuple):
    line: int  # of the text
    text: str
    mnemonic: str
    operands: str


class Unit:
    """A unit's text. Sites are found in functions whose .loc is_ours(file) says yes to."""

    def __init__(self, text, number, is_ours, source_line):
        self.lines = text.split("\n")
        self.number = number
        self.is_ours = is_ours
        self.source_line = source_line
        self.files = {}
        self.landing_pads = {found.group(1) for found in map(LANDING_PAD.match, self.lines) if found}
        self.sites = []
        self.labels = {}  # line of the text -> labels before it
        self.never_return = set()  # functions
        self.results_used = set()  # functions of which some caller reads what they return
        self._files()
        self._functions()

    def labelled(self):
        """The text with the labels, and without what only the debugger needs."""
        out = []
        for number, line in enumerate(self.lines):
            out += [f"{label}:" for label in self.labels.get(number, ())]
            out.append(line)
        return "\n".join(out)

    def _files(self):
        folder = ""
        for line in self.lines:
            found = FILE.match(line)
            if found:
                number, where, name = found.groups()
                if number == "0":
                    folder = where or ""
                self.files[number] = _normal(name, folder)

    def _functions(self):
        functions = {found.group(1) for found in map(TYPE.match, self.lines) if found}
        function, body = None, []
        for number, line in enumerate(self.lines):
            if line.endswith(":") and line[:-1] in functions:
                function = function or line[:-1]
            elif line.startswith("\t.cfi_endproc"):
                self._sites(function, body)
                function, body = None, []
            elif function:
                body.append(number)

    def _sites(self, function, body):
        if function.startswith("_GLOBAL__sub_I"):
            return
        code, places, targets = [], [], {}
        place = None
        for number in body:
            line = self.lines[number]
            found = LOC.match(line)
            if found:
                place = (self.files[found.group(1)], int(found.group(2)), int(found.group(3)))
                continue
            found = INSTRUCTION.match(line)
            if found:
                mnemonic, operands = found.group(1), found.group(2) or ""
                code.append(Instruction(number, f"{mnemonic} {operands}".strip(), mnemonic, operands))
                places.append(place)
            elif line.endswith(":"):
                targets[line[:-1]] = len(code)
        function_ = Function(function, code, places, targets, self.landing_pads)
        if not any(instruction.mnemonic == "ret" for instruction in code):
            self.never_return.add(function)
        for at, (instruction, place) in enumerate(zip(code, places)):
            if place and place[1] and self.is_ours(place[0]):
                self._site(function_, at, instruction, place)

    def _lines_told(self, place):
        """The lines that a statement gives to whom it calls, for messages: its own, and those further down
        in it that ask for theirs."""
        file, line, _ = place
        return {line} | {n for n in range(line + 1, line + 10) if "__builtin_LINE()" in self.source_line(file, n)}

    def _site(self, function, at, instruction, place):
        text = self.source_line(place[0], place[1])
        if function.is_of_a_temporary(at) or function.is_of_zeroes(at):
            return
        if function.is_of_clean_up(at) or function.is_of_a_deleting_destructor(at) or function.is_of_an_array(at):
            return
        # Behind a block's end stands what the compiler makes of its variables' ends.
        if text in ("}", "};") and instruction.mnemonic != "call":
            return
        # A comparison of all members, which the compiler writes.
        if re.search(r"\boperator(<=>|==)\(.*= default;$", text):
            return
        # What only the compiler executes.
        if "is_constant_evaluated()" in text:
            return
        kind = value = None
        is_mask = returns_object = may_be_returned = False
        without_effect = ()
        callee = ""
        if JUMP.match(instruction.mnemonic):
            kind = "branch" if function.jump_is_the_sources(at, text) else None
            without_effect = function.jumps_without_effect(at, text)
        elif SET.match(instruction.text):
            kind = "value" if function.value_is_the_sources(at) else None
        elif instruction.mnemonic == "call":
            callee = called(instruction.operands)
            result = function.result(at)
            made = function.made_object(at)
            if made == "used":
                return
            if result == "used":
                self.results_used.add(callee)
            elif function.call_is_for_its_effect(at):
                kind = "call"
                returns_object = made == "unused"
                may_be_returned = result == "returned"
        else:
            found = IMMEDIATE.match(instruction.text)
            if found and function.constant_is_the_sources(at, found, self._lines_told(place), text):
                kind, value = "constant", int(found.group(3))
                is_mask = found.group(1) in ("and", "or", "xor", "test")
        if not kind:
            return
        label = f"mutant.{self.number}.{len(self.sites)}"
        self.sites.append(
            Site(
                label, kind, *place, function.name, callee, value or 0, is_mask, returns_object, may_be_returned, without_effect
            )
        )
        self.labels.setdefault(instruction.line, []).append(label)
        self.labels.setdefault(instruction.line + 1, []).append(f"{label}.end")


class Function:
    def __init__(self, name, code, places, targets, landing_pads):
        self.name = name
        self.code = code
        self.places = places
        self.targets = targets
        self.at_start = name.startswith("_Z41__static_initialization")
        pads = {at for label, at in targets.items() if label in landing_pads}
        # Executed while an exception is on its way, and not otherwise.
        self.clean_up = self._reached(pads) - self._reached({0}, pads) if pads else set()

    def _reached(self, begins, barred=frozenset()):
        """What is executed from some instructions on, until a handler begins or the function is left."""
        reached, waiting = set(), list(begins)
        while waiting:
            at = waiting.pop()
            while at < len(self.code) and at not in reached and at not in barred:
                reached.add(at)
                instruction = self.code[at]
                jumps = instruction.mnemonic == "jmp" or JUMP.match(instruction.mnemonic)
                if jumps and instruction.operands in self.targets:
                    waiting.append(self.targets[instruction.operands])
                if instruction.mnemonic in ("jmp", "ret", "ud2"):
                    break
                if instruction.mnemonic == "call" and CLEAN_UP_ENDS.match(called(instruction.operands)):
                    break
                at += 1
        return reached

    def before(self, at, count):
        return [each.text for each in self.code[max(0, at - count) : at]]

    def after(self, at, count):
        return [each.text for each in self.code[at + 1 : at + 1 + count]]

    def jump_is_the_sources(self, at, source):
        # The halves in which a case is looked for.
        if source.startswith("switch (") and not re.match(r"jn?e$", self.code[at].mnemonic):
            return False
        if any(GUARD.search(text) for text in self.before(at, 6)):
            return False
        # The choice among handlers: what they do not catch is not thrown.
        if re.match(r"cmpq \$\d+, %rdx$", self.code[at - 1].text):
            return False
        if self.is_way_out(self.code[at - 1].operands):
            return False
        return not (self.at_start and re.match(r"cmpl \$(1, -4|65535, -8)\(", self.code[at - 1].text))

    def is_of_a_temporary(self, at):
        """Whether the instruction asks, or notes, if a temporary object was made, which is then to be
        destroyed."""
        instruction = self.code[at]
        if JUMP.match(instruction.mnemonic):
            note = self._note(self.code[at - 1].text)
            return note is not None and self._destroys_next(at)
        found = re.fullmatch(r"mov[bl] \$[01], (%r1[2-5]d|%ebx|-\d+\(%rbp\))", instruction.text)
        return found is not None and any(
            JUMP.match(jump.mnemonic) and self._note(asked.text) == found.group(1) and self._destroys_next(index)
            for index, (asked, jump) in enumerate(zip(self.code, self.code[1:]), 1)
        )

    @staticmethod
    def _note(text):
        """The place that is asked whether it is zero."""
        found = re.fullmatch(r"testb %(r1[2-5]|b)[bl], %\1[bl]|cmpb \$0, (-\d+\(%rbp\))", text)
        if not found:
            return None
        register = found.group(1)
        return found.group(2) or ("%ebx" if register == "b" else f"%{register}d")

    def _destroys_next(self, at):
        for each in self.code[at + 1 : at + 5]:
            if each.mnemonic == "call":
                return re.match(r"_ZN\S+D[12]Ev", each.operands) is not None
            if each.mnemonic not in ("leaq", "movq", "addq"):
                return False
        return False

    def is_of_clean_up(self, at):
        """Whether the instruction, while an exception is on its way, returns the memory of an object
        whose constructor threw, or asks what there is to be destroyed; or whether it notes that for
        this question alone."""
        instruction = self.code[at]
        if at in self.clean_up:
            if instruction.mnemonic == "call":
                return DELETES.match(called(instruction.operands)) is not None
            if JUMP.match(instruction.mnemonic):
                note = self._note(self.code[at - 1].text)
                return note is not None and note.startswith("%")  # a variable of the source is in memory
        found = re.fullmatch(r"movl \$[01], (%r1[2-5]d|%ebx)", instruction.text)
        if not found:
            return False
        asked = [
            index
            for index, (question, jump) in enumerate(zip(self.code, self.code[1:]), 1)
            if JUMP.match(jump.mnemonic) and self._note(question.text) == found.group(1)
        ]
        return bool(asked) and self.clean_up.issuperset(asked)

    def is_of_a_deleting_destructor(self, at):
        """Whether the instruction returns the memory behind a virtual destructor, which has no such
        line in the source."""
        instruction = self.code[at]
        return (
            instruction.mnemonic == "call"
            and self.name.endswith("D0Ev")
            and DELETES.match(called(instruction.operands)) is not None
        )

    def is_of_an_array(self, at):
        """Whether the instruction asks if so large an array can be, before it is made."""
        for begin in range(max(0, at - 2), at + 1):
            three = self.code[begin : begin + 3]
            if re.match(r"movabsq \$\d{18,19}, %\w+; cmpq %\w+, %\w+; jn?b ", "; ".join(each.text for each in three)):
                too_large = self.code[self.targets[three[2].operands]].text
                return too_large.startswith("call __cxa_throw_bad_array_new_length")
        return False

    def jumps_without_effect(self, at, source):
        """The changes of a conditional branch after which everything is as it was."""
        jump = self.code[at]
        # A case that is asked for where no other value is left.
        if jump.mnemonic == "je" and source.startswith("switch (") and self.is_last_case(at):
            return ("taken",)
        # Null is not deleted; operator delete does nothing with it either, and a virtual destructor is
        # called where the source has made sure of an object.
        if jump.mnemonic == "je" and re.match(r"testq (%\w+), \1$|cmpq \$0, ", self.code[at - 1].text):
            skipped = self.code[at + 1 : self.targets.get(jump.operands, 0)]
            end = next((i for i, each in enumerate(skipped) if each.mnemonic == "call"), None)
            if end is None or skipped[end + 1 :] and skipped[end + 1].text != f"jmp {jump.operands}":
                return ()
            if all(each.mnemonic.startswith("mov") for each in skipped[:end]) and DELETES.match(called(skipped[end].operands)):
                return ("not taken",)
            if source.startswith("delete ") and skipped[end].operands.startswith("*"):
                return ("not taken",)
        return ()

    def is_last_case(self, at):
        """Whether the questions for other cases leave only the value that is asked for there."""
        asked = CASE.match(self.code[at - 1].text)
        if not asked:
            return False
        begin, search = at - 1, at - 1
        while search > 0 and self._is_case(search - 1, asked["what"]) and self.places[search - 1] == self.places[at]:
            search -= 1
            if CASE.match(self.code[search].text):
                begin = search
        bits = {"b": 8, "w": 16, "l": 32, "q": 64}[self.code[at - 1].mnemonic[-1]]
        questions = [CASE.match(each.text) for each in self.code[begin:]]
        constants = {int(each["value"] or 0) for each in questions if each and each["what"] == asked["what"]}
        # Between the constants, one value goes where another one does.
        near = {(constant + step) % (1 << bits) for constant in constants for step in (-1, 0, 1)}
        coming = {value for value in near if self._comes(value, bits, begin, at, asked["what"])}
        return coming == {int(asked["value"] or 0) % (1 << bits)}

    def _is_case(self, at, what):
        """Whether the instruction is one of those that look for a value's case."""
        instruction = self.code[at]
        if instruction.mnemonic == "jmp" or instruction.mnemonic in CASE_JUMPS:
            return True
        asked = CASE.match(instruction.text)
        return asked is not None and asked["what"] == what

    def _comes(self, value, bits, begin, end, what):
        """Whether the search for the value's case, from one instruction on, comes to the other one."""
        # As signed numbers compare, these do with the highest bit turned over.
        high = 1 << (bits - 1)
        at, other = begin, 0
        for _ in range(len(self.code)):
            if at == end:
                return True
            if not (0 <= at < len(self.code) and self._is_case(at, what)):
                return False
            instruction = self.code[at]
            asked = CASE.match(instruction.text)
            if asked:
                other = int(asked["value"] or 0) % (1 << bits)
                at += 1
                continue
            turned = high if instruction.mnemonic in SIGNED else 0
            if instruction.mnemonic == "jmp" or CASE_JUMPS[instruction.mnemonic](value ^ turned, other ^ turned):
                at = self.targets.get(instruction.operands, -1)
            else:
                at += 1
        return False

    def is_order(self, at):
        """Whether the number is an order of memory: the last thing before what is unfolded of an atomic
        variable, or a call's last argument."""
        text = self.code[at].text
        if not re.match(r"movl \$[0-5], ", text):
            return False
        if re.fullmatch(r"movl \$[0-5], -\d+\(%rbp\)", text):
            following = self.places[at + 1] if at + 1 < len(self.places) else None
            return following is not None and re.search(r"/(atomic|atomic_base\.h)$", following[0]) is not None
        called_ = ORDER_OF_ATOMIC.match(_up_to_call(self.after(at, 4))[-1]) if self.after(at, 1) else None
        return called_ is not None and text.endswith(", %esi" if called_["load"] else ", %edx")

    def is_of_zeroes(self, at):
        """Whether the instruction is of a loop that makes an object's octets zero before its
        constructor is called."""
        return any(
            ZEROES.match("; ".join(each.text for each in self.code[begin : begin + 11]))
            for begin in range(max(0, at - 4), at + 1)
        )

    def is_way_out(self, operands):
        """Whether the register is one that tells, behind the destructors at a block's end, how the
        block was left."""
        register = operands.rpartition(", ")[2]
        return register in WAY_OUT and any(each.text == f"cmpl $1, {register}" for each in self.code)

    def value_is_the_sources(self, at):
        """Not where a jump follows, which is a site of its own."""
        if any(GUARD.search(text) for text in self.before(at, 6)):
            return False
        return not any(JUMP.match(text.split()[0]) for text in self.after(at, 2))

    def constant_is_the_sources(self, at, found, lines_told, source):
        operation, size, value = found.group(1), found.group(2), int(found.group(3))
        instruction = self.code[at]
        if "%rsp" in instruction.operands or any(GUARD.search(text) for text in self.before(at, 4)):
            return False
        following = self.after(at, 4)
        # A question for zero is the branch's behind it.
        if operation == "cmp" and value == 0 and following and re.match(r"(je|jne|sete|setne)\b", following[0]):
            return False
        if self.at_start and re.match(r"cmpl \$(1, -4|65535, -8)\(", instruction.text):
            return False
        if re.match(r"cmpq \$\d+, %rdx$", instruction.text):
            return False
        if operation == "mov" and self.is_overwritten(at):
            return False
        if operation == "mov" and any(SIZES.match(text) for text in _up_to_call(following)):
            return False
        # The number of vector registers that a function with an ellipsis gets.
        if instruction.text == "movl $0, %eax" and following and following[0].startswith("call"):
            return False
        # The line, for a message, is an argument.
        if operation == "mov" and re.search(r", (%e(di|si|dx|cx)|%r[89]d|-?\d*\(%r[bs]p\))$", instruction.operands):
            if value in lines_told:
                return False
        if operation == "mov" and self.is_order(at):
            return False
        # The object of a lambda that captures nothing, as a plain function calls it.
        if "_4_FUNE" in self.name:
            calls = "; ".join([instruction.text, *following[:2]])
            if re.match(r"movl \$0, (%edi|%esi; movq %\w+, %rdi); call _Z\w+clE", calls):
                return False
        # The count of words that are made zero, before an aggregate's members.
        if operation == "mov" and any(text.startswith("rep ") for text in following[:2]):
            return False
        # The upper half of what is divided; the factor that stands for a divisor.
        if operation.startswith("mov") and following and re.match(r"div|i?mul[lq] %", following[0]):
            return False
        # The end that substr() goes to, or a search from behind begins at, when none is given: any will do
        # that is not in the text.
        if value == -1 and any(re.match(r"call \w+(6substr|5rfind|12find_last_of)E", text) for text in _up_to_call(following)):
            return False
        # A null pointer's constant, and the zero that an ordering is compared with: nothing reads them.
        if operation == "mov" and any(NOT_READ.match(text) for text in _up_to_call(following)):
            return False
        if operation == "mov" and value == 0:
            if any(NULL_EXCHANGED.match(text) for text in _up_to_call(self.after(at, 9))):
                return False
        # A constant variable's place: its uses have the value themselves.
        if operation == "mov" and re.match(r"constexpr (bool|unsigned|U\d+|std::size_t) \w+ = ", source):
            return False
        if self.is_of_an_insertion(at, operation, value, source):
            return False
        if operation in ("mov", "cmp") and self.is_way_out(instruction.operands):
            return False
        # In numbers of 64 bits, the compiler goes to members and elements.
        if size == "q" and operation in ("add", "sub", "imul", "sal", "sar", "shl", "shr"):
            return re.search(rf"\b(0x0*{abs(value):x}|{abs(value)})[uUlL]*\b", source) is not None or (
                abs(value) == 1 and re.search(r"\+\+|--", source) is not None
            )
        return True

    def is_of_an_insertion(self, at, operation, value, source):
        """Whether the number serves to put a small object's octets together in a register, or to take
        them from there."""
        if operation == "and" and value in (0, -1):
            return True
        if re.search(r"[&|^~]", source):
            return False
        return operation == "movabs" and INSERTED.match("; ".join([self.code[at].text, *self.after(at, 2)])) is not None or (
            self.code[at].text in ("movl $0, %eax", "movl $0, %edx")
            and INSERTED.match("; ".join(self.after(at, 5))) is not None
        )

    def is_overwritten(self, at):
        """Whether what is stored is replaced before it can be read: zeros that precede an aggregate's
        members, or a constructor."""
        target = self.code[at].operands.rpartition(", ")[2]
        if self.code[at].operands.startswith("$0,") and re.fullmatch(r"\d*\(%rax\)", target):
            near, zeros = _up_to_call(self.after(at, 6)), _up_to_call(self.after(at, 12))
            if not all(text.startswith(("mov", "call")) for text in zeros):
                zeros = near
            return any(re.match(r"call _ZN\w+C[12]E", text) for text in zeros)
        if not re.fullmatch(r"-\d+\(%rbp\)", target):
            return False
        for index, each in enumerate(self.code[at + 1 : at + 8], at + 1):
            if each.mnemonic == "leaq" and self.code[at].operands.startswith("$0,"):
                if any(re.match(r"call _ZN\w+C[12]E", text) for text in self.after(index, 3)):
                    return True
            if each.mnemonic in ("call", "jmp") or JUMP.match(each.mnemonic):
                return False
            source, _, stored = each.operands.rpartition(", ")
            if stored == target and each.mnemonic == self.code[at].mnemonic and target not in source:
                return True
            if target in each.operands:
                return False
        return False

    def call_is_for_its_effect(self, at):
        callee = self.code[at].operands
        if callee.startswith("*"):
            return not self.destroys(at)
        if NO_MUTATOR.match(callee) or not callee.startswith("_Z"):
            return MUTATORS_OF_OTHERS.match(callee) is not None
        return True

    def destroys(self, at):
        """Whether a virtual call is a destructor's, in slot 1 of the table."""
        slots = [text for text in self.before(at, 8) if re.match(r"addq \$\d+, %rax$", text)]
        return bool(slots) and all(text == "addq $8, %rax" for text in slots)

    def result(self, at):
        """Whether what the call returns in a register is "used", "unused", or "returned", which is
        also how it looks where nothing is."""
        limit = 40
        at += 1
        while at < len(self.code) and limit:
            limit -= 1
            text, mnemonic, operands = self.code[at].text, self.code[at].mnemonic, self.code[at].operands
            if mnemonic == "nop" and self.is_end_with_result(at + 1):
                return "returned"
            if mnemonic in ("call", "ud2", "nop") or JUMP.match(mnemonic):
                return "unused"  # nop: stands at the end of what returns nothing
            if mnemonic in ("leave", "ret"):
                return "returned"
            if mnemonic == "jmp":
                if operands not in self.targets:
                    return "used"
                at = self.targets[operands]
                continue
            if RESULT.search(operands):
                source, comma, target = operands.rpartition(", ")
                moves = comma and mnemonic[:3] in ("mov", "lea")
                overwritten = moves and RESULT.fullmatch(target) and not RESULT.search(source)
                return "unused" if overwritten else "used"
            if re.search(r"%xmm0\b", operands):
                return "unused" if re.search(r", %xmm0$", operands) else "used"
            at += 1
        return "unused"

    def is_end_with_result(self, end):
        """Whether something is put where results are before a jump there."""
        return any(
            self.targets.get(jump.operands) == end and re.search(r", %[er]?a[xl]$", result.operands)
            for result, jump in zip(self.code, self.code[1:])
            if jump.mnemonic == "jmp" and result.mnemonic.startswith("mov")
        )

    def made_object(self, at):
        """Whether the call's first argument is the place of an object that it makes, and whether more
        is done with that than to destroy it: "used", "unused", or "" without one."""
        slot = self.first_argument(at)
        if not slot:
            return ""
        earlier = any(slot in each.operands for each in self.code[: max(0, at - 14)])
        uses = [index for index in range(at + 1, len(self.code)) if slot in self.code[index].operands]
        destroyed = [self.destructor(index) for index in uses]
        if not any(destroyed):
            return "" if earlier else "used"
        class_ = next(filter(None, destroyed))
        if re.match(rf"_ZNK?{re.escape(class_)}", self.code[at].operands):
            return ""  # a call for an object that was there
        return "unused" if all(destroyed) else "used"

    def first_argument(self, at):
        """The variable's place in the function's frame whose address it is."""
        register = "%rdi"
        for each in reversed(self.code[max(0, at - 14) : at]):
            if each.mnemonic == "call":
                break
            found = re.fullmatch(rf"leaq (-\d+\(%rbp\)), {register}", each.text)
            if found:
                return found.group(1)
            found = re.fullmatch(rf"movq (%r\w+), {register}", each.text)
            if found:
                register = found.group(1)
            elif each.operands.endswith(f", {register}"):
                break
        return None

    def destructor(self, at):
        """The class, for the compiler, whose destructor gets the address that is taken there."""
        for each in self.code[at + 1 : at + 4]:
            found = re.match(r"call _ZN(\S+)D[12]Ev", each.text)
            if found:
                return found.group(1)
        return ""


def called(operands):
    return operands.removesuffix("@PLT").removesuffix(".localalias")


def kept(units):
    """The sites of all units, without calls that do not return, without those whose result some caller
    uses where nothing shows whether this one does, and without those that can change nothing."""
    never_return = set().union(*(unit.never_return for unit in units))
    results_used = set().union(*(unit.results_used for unit in units))
    names = demangled([site.callee for unit in units for site in unit.sites])
    return [
        site
        for unit in units
        for site in unit.sites
        if site.callee not in never_return
        and not (site.may_be_returned and (site.callee in results_used or names[site.callee].endswith(" const")))
        and not ENDS.search(names[site.callee])
    ]


def _up_to_call(texts):
    taken = []
    for text in texts:
        taken.append(text)
        if text.startswith("call"):
            break
    return taken


def _normal(name, folder):
    """A file's name from the top of the tree, where it stands in there."""
    return os.path.normpath(os.path.join(folder, name)) if name.startswith("..") else name


def demangled(names):
    """The names as the source has them, by the names for the linker."""
    names = sorted(set(names))
    told = subprocess.run(["c++filt"], input="\n".join(names), check=True, stdout=subprocess.PIPE, text=True).stdout
    return dict(zip(names, told.splitlines()))
