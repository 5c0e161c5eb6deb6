#!/usr/bin/env python3
"""A header as doxygen is to read it.

    doxygen-filter.py HEADER

What every class of the framework has, and what it means, is written here once and not in each
header:

- The declaration of an attribute becomes the accessor and the mutators that it makes, each with
  what it does; the comment above the declaration is the accessor's.
- A declaration of a kind that is named in STANDARD gets that sentence, unless it has a comment of
  its own.
- A concept without a comment is an error: doxygen does not look.
- What a header makes public for the framework alone is left out; HIDDEN and PRIVATE say why.
- A header's own comment, which stands before an empty line, a namespace or an #include, is that of
  its page.

Every line stays in its place, so that doxygen's messages name the header's lines.
"""
import re
import sys

STORES = "Stores the value, then calls notify({id}), also for an equal value."

# What the declarations of Declare.h and DeclareReactor.h make. A declaration without a sentence
# has the comment above.
KEY = (("{type} {name}() const noexcept;", ""),
       ("{type} fwkKey() const noexcept;", "The same key, as every map asks for it."))
SCALAR = (("{type} {name}() const noexcept;", ""), ("void {name}Is({type} value);", STORES))
HANDLED = (SCALAR[0], (SCALAR[1][0], STORES + " Reactors take that in their `{handler}()`."))
COLLECTION = (
    ("{map}<{type}, {key}, ZelSelf> const& {name}() const noexcept;", ""),
    ("Zel::Ptr<{type} const> {name}({key} const& key) const;",
     "The child under the key; null when there is none."),
    ("Zel::Ptr<{type}> {name}({key} const& key);",
     "The child under the key; null when there is none."),
    ("Zel::Ptr<{type}> {name}Is({key} key);",
     "The child under the key. Creates it, then calls notify({id}, &key), when there is none. "
     "Throws std::bad_alloc, and changes nothing."),
    ("Zel::Ptr<{type}> {name}MemberIs(Zel::Ptr<{type}> const& member);",
     "Puts a child under its own key, then calls notify({id}, &key); nothing when it stands there "
     "already. Ends the process when it stands in another collection. Throws "
     "Zel::RangeException for null, and std::bad_alloc, and changes nothing. "
     "@return the child that it replaces; null when there was none"),
    ("void {name}Del({key} key);",
     "Takes the child out, calls notify({id}, &key), then drops the reference; nothing when there "
     "is none."))
CHILDREN = (
    ("{type}& children() noexcept;", ""),
    ("Zel::Ptr<{type}::Child> {name}({type}::Key key);",
     "The child under the key; null when there is none."),
    ("void {name}Del({type}::Key key);",
     "Removes the child under the key, see Zel::KeyedReactors::del()."),
    ("void {name}Del({type}::Walk const& at);", "Removes the child on which a walk stands."),
    ("void {name}DelAll();", "Removes every child, see Zel::KeyedReactors::del()."))
VIEW = (("{type} {name}() const;", ""),)

ATTRIBUTES = {
    "ZEL_KEY": ("id type name", KEY),
    "ZEL_NAME": ("", KEY),
    "ZEL_SCALAR": ("id type name", SCALAR),
    "ZEL_HANDLED_SCALAR": ("id type name handler", HANDLED),
    "ZEL_VALUE_MAP": ("id key type name", (
        ("Zel::HashMap2018<ZelSelf, {key}, {type}> const& {name}() const noexcept;", ""),
        ("{type} {name}({key} const& key) const noexcept;",
         "The value under the key; zero when there is none."),
        ("void {name}Is({key} key, {type} value);",
         "Stores the value under the key, then calls notify({id}, &key), also for an equal value. "
         "Throws std::bad_alloc, and changes nothing."),
        ("void {name}Inc({key} key, {type} amount);",
         "Adds to the value under the key, as {name}Is() does with the sum."),
        ("void {name}Del({key} key);",
         "Erases the entry, then calls notify({id}, &key); nothing when there is none."))),
    "ZEL_HASHED_COLLECTION": ("id type key name", COLLECTION),
    "ZEL_ORDERED_COLLECTION": ("id type key name", COLLECTION),
    "ZEL_CONSTANT": ("id type name", (("{type} {name}() const noexcept;", ""),)),
    "ZEL_CONSTANT_VIEW": ("id type name", VIEW),
    "ZEL_SCALAR_VIEW": ("id type name", VIEW),
    "ZEL_OWNER": ("id type name", ()), # owner() is the base's
    "ZEL_CHILDREN": ("id type name", CHILDREN),
    "ZEL_CHILD_REACTORS": ("id type name", CHILDREN + (
        ("Zel::Ptr<{type}::Child> {name}Is(Zel::Ptr<{type}::Element const> const& element);",
         "The child that watches the element, created or bound to it, see "
         "Zel::ChildReactors::is()."),)),
}
# A name that a header gives to a declaration for itself alone.
ATTRIBUTES["INSTANCE_SCALAR"] = ("id type name", tuple(
    (line, sentence.replace("{handler}", "zel_handleMstiN_{name}")) for line, sentence in HANDLED))
# Views of what a base class has and documents: as attributes they are printed and compared.
OF_BASES = {"source", "initialized", "notifier", "owner"}

# By the whole declaration, on one line.
STANDARD = [(re.compile(pattern), sentence) for pattern, sentence in (
    # What the framework asks of a class.
    (r"^static (Zel::)?TypeNode const _zelType;",
     "What the framework knows of the class, see Zel::TypeNode."),
    (r"^using NotifieeConst = Zel::NotifieeConstOf<",
     "The base of the reactors on this class."),
    # What it asks of a reactor and of a syncer; see Zel::Reactor and Zel::RootSyncer.
    (r"^Zel\w+\(Zel::Ptr<\w+ const> const& \w+, \w+\* \w+\)",
     "Watches the entity for the object that owns the reactor; as Zel::Reactor says."),
    (r"^(template <Zel::ScalarAttribute A> )?void handle\(\S+( \w+)?\)",
     "Follows a change of the attribute; Zel::Reactor calls it."),
    (r"^void handle\(\S+Attribute, [\w:]+( const&)? \w+\)",
     "Follows a change of the element under the key; Zel::Reactor calls it."),
    (r"^\w+& keeper\(\S+Attribute\)",
     "Who keeps the child reactors on the elements; Zel::Reactor asks for it."),
    (r"^using \w+ = Zel::(Child|Keyed)Reactors<",
     "What it owns for the elements of a collection, by key."),
    (r"^using \w+Iterator = decltype\(", "A walk over these."),
    (r"^void rebound\(\);", "What another notifier sets off; Zel::Reactor calls it."),
    (r"^void traceName\(Zel::TraceStream& out\) const;",
     "Writes the class and the key, with which a trace line begins."),
    (r"^void handleInitialized\(\);",
     "The constructor's last step: brings the destination in line with what the source has by "
     "then, and sets initialized()."),
    # What a value type offers for maps, frames and traces.
    (r"\bhash\(\) const noexcept",
     "For hash maps, see Zel::HashHelper: equal values have equal hashes."),
    (r"^static constexpr std::tuple fields\{",
     "The fields in the order of the wire, see Kolvu::WireLayout."),
    (r"^static constexpr std::size_t octets =",
     "How many octets it has: the sum of its fields' sizes."),
    (r"^static constexpr std::size_t wireOctets =", "How many octets it has in a frame."),
    (r"^using Octets =", "The octets of the value, in the order of the wire."),
    (r"^constexpr \S+ const& octets\(\) const noexcept",
     "The octets of the value, in the order of the wire."),
    (r"^constexpr void encode\(std::span<[\w:]+, wireOctets> to\) const",
     "Writes the value as it stands in a frame."),
    (r"^static constexpr \w+ decode\(std::span<[\w:]+ const, wireOctets> from\)",
     "Reads what encode() writes."),
    (r"operator<<\(Zel::TraceStream& stream, \w+ (value|mode|number)\)",
     "Writes the value as text: a number in decimal, an enumerator by its name."),
    # What the language and the standard library have the meaning of.
    (r"\boperator(==|<=>)\(.*\) (noexcept )?= default;",
     "Compares member by member, in the order of their declaration."),
    (r"^(\w+)\(\1 const& other\)|^(\w+)& operator=\(\2 const& other\)",
     "Copies; the class says what a copy shares."),
    (r"^(\w+)\(\1&& other\)|^(\w+)& operator=\(\2&& other\)",
     "Moves; the other one is as its default constructor makes it."),
    (r"\bbegin\(\) (const )?noexcept", "A walk that stands on the first element."),
    (r"^std::default_sentinel_t end\(\) const noexcept", "What a walk at its end is equal to."),
    (r"\boperator==\(std::default_sentinel_t( end)?\) const noexcept",
     "Whether the walk is at its end."),
    (r"^\w+& operator\+\+\(\) noexcept", "Moves on to the next element, or to the end."),
    (r"^[\w<> ]+ const& operator\*\(\) const noexcept",
     "The element on which the walk stands. Requires: it is not at its end."),
    (r"^[\w<> ]+ const\* operator->\(\) const noexcept",
     "The element on which the walk stands. Requires: it is not at its end."),
)]

# For the framework's own use, and public as a template or a macro has to find it.
HIDDEN = [re.compile(pattern) for pattern in (
    # Finds the description of an attribute by its identifier; AttributeOf is the way to it.
    r"^static \w+Attribute zelAttribute\(AttributeTag<",
    # The definition of a private member; doxygen takes it for a public one.
    r"^template <class T> inline constexpr detail::ValueType Value::typeOf =",
)]
# doxygen does not know std::hash, which some classes have a case of.
HIDDEN_TO_END = re.compile(r"^template <class T> struct std::hash<")
# What only the declarations of attributes, and the timer's macro, consist of. ZEL_COLLECTION_ says
# what is common to two declarations.
HIDDEN_MACRO = re.compile(r"^#define (ZEL_(?!COLLECTION)\w+_|FENNIC_BLOCK_TIMER_(IN_LINE|NAMED))\(")
# What is protected here is for the framework's own templates: maps and collections of reactors are
# not made by deriving from these.
PRIVATE = ("framework/zel/KeyedMap.h", "framework/zel/ChildReactors.h")

DECLARATION = re.compile(r"^\s*(" + "|".join(ATTRIBUTES) + r")\((.*)\)\s*(//.*)?$")


def arguments(text):
    """Splits at the commas that stand in no brackets."""
    parts, depth = [""], 0
    for char in text:
        depth += char in "<(" or -(char in ">)")
        if char == "," and depth == 0:
            parts.append("")
        else:
            parts[-1] += char
    return [part.strip() for part in parts if part.strip()]


def documented(lines, at):
    before = lines[at - 1].strip()
    return before.startswith(("///", "/**")) or before.endswith("*/") or "///<" in lines[at]


def hide(out, at):
    """Leaves the line out, and the comment above it."""
    out[at] = ""
    while out[at - 1].lstrip().startswith("///"):
        at -= 1
        out[at] = ""


def declaration(lines, at):
    """What begins in that line, to its end or its body, on one line."""
    text = ""
    for line in lines[at:at + 8]:
        text += " " + line.strip()
        if re.search(r"[;{]", line):
            break
    return text.strip()


def own_comment(lines):
    """The last line of the header's own comment; none when it has none."""
    begin = next((at for at, line in enumerate(lines) if line.startswith("///")), len(lines))
    end = next((at for at in range(begin, len(lines)) if not lines[at].startswith("///")), None)
    if end is None or not re.match(r"$|namespace \w+ \{|#include ", lines[end]):
        return None
    return end - 1


def attribute(lines, at, macro, given):
    """The members that the declaration of an attribute makes."""
    names, members = ATTRIBUTES[macro]
    values = dict(zip(names.split(), arguments(given)))
    if macro == "ZEL_NAME":
        values = {"type": "Zel::Name const&", "name": "name"}
    if macro.endswith("COLLECTION"):
        values["map"] = "Zel::HashMap" if "HASHED" in macro else "Zel::RbTreeMap"
    name = values["name"]
    has_comment = documented(lines, at)
    if members is VIEW and (name in OF_BASES and not has_comment
                            or re.search(r"\b%s\(\) const" % name, lines[at + 1])):
        return ""
    made = []
    for line, sentence in members:
        # Without a comment, what is fixed when the object is made is what its constructor says.
        if not sentence and not has_comment and macro in ("ZEL_CONSTANT", "ZEL_KEY") and \
                re.search(r"[\w>&] %s[,)]" % name, "\n".join(lines)):
            sentence = "As the constructor was given it."
        comment = "/** %s */ " % sentence.format(**values) if sentence else ""
        made.append(comment + line.format(**values))
    return " ".join(made)


def signature(lines, at):
    """What is declared there, without any const."""
    text = re.sub(r"\s*\bconst\b", "", re.split(r"[{;]", declaration(lines, at))[0])
    return re.sub(r"\s+", " ", text).strip()


def is_read_only_twin(lines, at):
    """Whether the line declares the const one of two overloads, right after the other."""
    if not re.search(r"\w.*\(", lines[at]) or lines[at].lstrip().startswith(("/", "*", "return")):
        return False
    return any(
        re.search(r"\w", lines[earlier]) and not lines[earlier].lstrip().startswith("/")
        and documented(lines, earlier)
        and declaration(lines, earlier) != declaration(lines, at)
        and signature(lines, earlier) == signature(lines, at)
        for earlier in range(max(at - 4, 1), at))


def standard(lines, at):
    """The sentence for what the line begins to declare; none for what is not standard."""
    if re.match(r"\s*(//|#|\*|\}|template <.*>$|$)", lines[at]):
        return None
    text = declaration(lines, at)
    text = re.sub(r"^(VARNOL_API |friend |explicit |constexpr (?=\w+\()|\[\[[^]]*\]\] )+", "", text)
    return next((sentence for pattern, sentence in STANDARD if pattern.search(text)), None)


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as header:
        lines = header.read().split("\n")
    out = list(lines)
    hidden = in_macro = in_hidden_macro = in_detail = False
    for at, line in enumerate(lines):
        text = line.strip()
        if in_macro or text.startswith("#define"):
            in_hidden_macro = in_hidden_macro if in_macro else bool(HIDDEN_MACRO.match(text))
            in_macro = text.endswith("\\")
            if in_hidden_macro:
                hide(out, at)
            continue
        hidden = hidden or bool(HIDDEN_TO_END.match(line))
        if hidden or any(pattern.search(text) for pattern in HIDDEN):
            hidden = hidden and text != "};"
            hide(out, at)
            continue
        if text == "protected:" and path.endswith(PRIVATE):
            out[at] = line.replace("protected:", "private:")
            continue
        in_detail = (in_detail or text == "namespace detail {") and text != "} // namespace detail"
        if text.startswith("concept ") and not in_detail and not documented(lines, at - 1):
            sys.exit("%s:%d: %s is not documented." % (path, at + 1, text.split(" =")[0]))
        found = DECLARATION.match(line)
        if found:
            out[at] = attribute(lines, at, found[1], found[2])
            continue
        if text.split("(")[0] in ATTRIBUTES:
            sys.exit("%s:%d: the declaration does not end in its line." % (path, at + 1))
        before = lines[at - 1].strip()
        first = at - 1 if before.startswith("template <") and before.endswith(">") else at
        sentence = standard(lines, at)
        if sentence and not documented(lines, first):
            out[first] = "/** %s */ %s" % (sentence, out[first])
        elif not documented(lines, at) and is_read_only_twin(lines, at):
            out[at] = "/** The same, of what may only be read. */ " + line
    own = own_comment(lines)
    if own is None:
        out[lines.index("#pragma once")] = "/** @file */"
    else:
        out[own] += " @file"
    sys.stdout.write("\n".join(out))


main()
