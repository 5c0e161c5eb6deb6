#include "framework/zel/PrintTree.h"

#include "framework/zel/TreeWalk.h"

#include <utility>

namespace Zel {
namespace {

std::string printable(std::string text) {
    for (char& octet : text) {
        if (static_cast<U8>(octet) < 0x20 || octet == 0x7f)
            octet = '?';
    }
    return text;
}

class TextPrinter {
  public:
    void attributes(PtrInterface const& object, std::size_t depth) {
        for (AttributeInfo const& attribute : treeType(object).attributes()) {
            if (!hasElements(attribute))
                line(depth, attribute.name, ": ",
                     printable(treeValue(object, attribute.id).text()));
            else
                elements(object, attribute, depth);
        }
    }

    void line(std::size_t depth, std::string_view name, std::string_view separator,
              std::string_view value) {
        text.append(2 * depth, ' ').append(name).append(separator).append(value).append("\n");
    }

    std::string text;

  private:
    void elements(PtrInterface const& object, AttributeInfo const& attribute, std::size_t depth) {
        const auto found = treeElements(object, attribute.id);
        if (found.empty())
            line(depth, attribute.name, ": ", "{}");
        for (TreeElement const& element : found) {
            const std::string name =
                std::string(attribute.name) + "[" + printable(element.key.text()) + "]";
            if (!element.object.isObject()) {
                line(depth, name, ": ", printable(element.object.text()));
                continue;
            }
            line(depth, name, "", "");
            attributes(*element.object.object(), depth + 1);
        }
    }
};

void printJson(TraceStream& stream, PtrInterface const& object) {
    const char* separator = "{";
    for (AttributeInfo const& attribute : treeType(object).attributes()) {
        stream << std::exchange(separator, ",");
        jsonString(stream, attribute.name);
        stream << ":";
        if (!hasElements(attribute)) {
            treeValue(object, attribute.id).jsonTo(stream);
            continue;
        }
        stream << "{";
        const char* comma = "";
        for (TreeElement const& element : treeElements(object, attribute.id)) {
            stream << std::exchange(comma, ",");
            jsonString(stream, element.key.text());
            stream << ":";
            if (element.object.isObject())
                printJson(stream, *element.object.object());
            else
                element.object.jsonTo(stream);
        }
        stream << "}";
    }
    stream << (*separator == '{' ? "{}" : "}");
}

} // namespace

std::string treeText(PtrInterface const* object) {
    if (!object)
        return "null\n";
    TextPrinter printer;
    printer.line(0, treeType(*object).name(), printable(std::string(keyInfo(*object))), "");
    printer.attributes(*object, 1);
    return std::move(printer.text);
}

std::string treeJson(PtrInterface const* object) {
    if (!object)
        return "null";
    TraceStream stream;
    printJson(stream, *object);
    return std::string(stream.text());
}

} // namespace Zel
