#include "cli/drawing_tree.h"

#include <iostream>

namespace zemhost {

namespace {

constexpr std::size_t kShownTypes = 8;
constexpr std::size_t kShownExpression = 72;

std::string text(Json const& json, char const* key)
{
    return printable(json[key].get<std::string>());
}

std::uint64_t number(Json const& json, char const* key)
{
    return json[key].get<std::uint64_t>();
}

std::string pointText(Json const& point)
{
    return '(' + shortNumber(point[0].get<double>()) + ", " + shortNumber(point[1].get<double>()) +
           ", " + shortNumber(point[2].get<double>()) + ')';
}

std::string bagText(Json const& bag)
{
    std::string line = "bag: " + text(bag, "place") + ", " + counted(number(bag, "bytes"), "byte");
    if (bag.contains("problem")) {
        return line + "; " + text(bag, "problem");
    }
    line += ", " + counted(number(bag, "count"), "value");
    std::size_t shown = 0;
    for (auto const& [name, type] : bag["types"].items()) {
        if (shown == kShownTypes) {
            line += ", ...";
            break;
        }
        line += (shown == 0 ? ": " : ", ") + printable(name) + " (" + type.get<std::string>() + ')';
        ++shown;
    }
    return line;
}

std::string externalText(Json const& external)
{
    if (!external.contains("state")) {
        return "external drawing";
    }
    std::string line =
        "external drawing from " + text(external, "path") + ", " + text(external, "state");
    if (external.contains("problem")) {
        line += " (" + text(external, "problem") + ')';
    }
    return external["overlay"].get<bool>() ? line + ", overlay" : line;
}

std::string insertText(Json const& insert)
{
    std::string line =
        "of " + (insert["block"].is_null() ? std::string("nothing") : text(insert, "block")) +
        " at " + pointText(insert["position"]);
    Json const& scale = insert["scale"];
    const bool isEven = scale[0] == scale[1] && scale[1] == scale[2];
    line += ", scale " + (isEven ? shortNumber(scale[0].get<double>()) : pointText(scale));
    const double rotation = insert["rotationDegrees"].get<double>();
    if (rotation != 0) {
        line += ", turned by " + shortNumber(rotation) + " degrees";
    }
    if (insert.contains("scaleVariable")) {
        line += ", driven by " + text(insert, "scaleVariable");
    }
    return insert.contains("scaleProblem") ? line + "; " + text(insert, "scaleProblem") : line;
}

std::string variableText(Json const& variable)
{
    std::string line = "value " + shortNumber(variable["value"].get<double>());
    if (variable.contains("expression")) {
        line += " from " + shortened(text(variable, "expression"), kShownExpression);
    }
    if (variable.contains("expressionProblem")) {
        line += "; can't be computed: " + text(variable, "expressionProblem");
    }
    return line;
}

/// What stands behind handle, name and class of a node, on its line.
std::string details(Json const& node)
{
    std::string line;
    const auto add = [&line](std::string const& detail) { line += ", " + detail; };
    if (node.contains("faces")) {
        add('"' + text(node, "label") + '"');
        add(counted(number(node, "faces"), "face"));
        add(counted(number(node, "edges"), "edge"));
        add(counted(number(node, "vertices"), "vertex"));
        add("body " + sized(number(node, "bodyBytes")));
    }
    if (node.contains("start")) {
        add(pointText(node["start"]) + " to " + pointText(node["end"]));
    }
    if (node.contains("external")) {
        add(externalText(node["external"]));
    }
    if (node.contains("entityCount")) {
        add(counted(number(node, "entityCount"), "entity"));
    }
    if (node.contains("references") && number(node, "references") != 0) {
        add(counted(number(node, "references"), "insert"));
    }
    if (node.contains("position")) {
        add(insertText(node));
    }
    if (node.contains("actionCount")) {
        add(counted(number(node, "actionCount"), "action"));
    }
    if (node.contains("value")) {
        add(variableText(node));
    }
    for (char const* state : {"off", "frozen", "locked"}) {
        if (node.contains(state) && node[state].get<bool>()) {
            add(state);
        }
    }
    if (node.contains("records") && node["records"].is_number()) {
        add(counted(number(node, "records"), "record"));
    }
    if (node.contains("count")) {
        add(counted(number(node, "count"), "entry"));
    }
    if (node.contains("proxy")) {
        Json const& proxy = node["proxy"];
        add("proxy of " + sized(number(proxy, "bytes")) + " with " +
            counted(number(proxy, "references"), "reference") + " (" + text(proxy, "application") +
            ')');
    }
    if (node.contains("reactors")) {
        add(counted(number(node, "reactors"), "reactor"));
    }
    if (node.contains("owner")) {
        add("owner " + text(node, "owner"));
    }
    if (node.contains("note")) {
        add(text(node, "note"));
    }
    return line;
}

class TreePrinter
{
public:
    void print(Json const& tree)
    {
        printDrawing(tree["drawing"]);
        for (Json const& table : tree["tables"]) {
            printTable(table);
        }
        line(1, "dictionaries");
        printNode(tree["dictionaries"], 2);
        printOthers(tree["others"]);
        printClasses(tree["classes"]);
    }

private:
    static void line(int depth, std::string const& content)
    {
        std::cout << std::string(static_cast<std::size_t>(2 * depth), ' ') << content << '\n';
    }

    static void printDrawing(Json const& drawing)
    {
        line(0, text(drawing, "path") + ": " + sized(number(drawing, "bytes")) + ", " +
                    counted(number(drawing, "objects"), "object") + ", drawing version " +
                    std::to_string(drawing["version"].get<int>()));
        Json const& settings = drawing["settings"];
        line(1, "units " + text(settings, "units") + ", insert base " +
                    pointText(settings["modelInsertBase"]) + ", in paper space " +
                    pointText(settings["paperInsertBase"]) + ", next handle " +
                    text(drawing, "nextHandle"));
    }

    void printTable(Json const& table)
    {
        if (table.contains("problem")) {
            line(1, text(table, "name") + ": can't be read: " + text(table, "problem"));
            return;
        }
        line(1, text(table, "name") + ": " + counted(number(table, "count"), "entry"));
        printList(table["records"], number(table, "count"), 2);
        printAttachments(table, 2);
    }

    void printList(Json const& entries, std::uint64_t count, int depth)
    {
        for (Json const& entry : entries) {
            printNode(entry, depth);
        }
        if (entries.size() < count) {
            line(depth, "... and " + std::to_string(count - entries.size()) +
                            " more; --limit 0 shows all");
        }
    }

    void printNode(Json const& node, int depth)
    {
        std::string content = text(node, "handle");
        for (char const* key : {"key", "name"}) {
            if (node.contains(key)) {
                content += "  " + text(node, key);
            }
        }
        if (node.contains("problem")) {
            line(depth, content + "  can't be read: " + text(node, "problem"));
            return;
        }
        line(depth, content + "  " + text(node, "class") + details(node));
        printAttachments(node, depth + 2);
        if (node.contains("entities")) {
            printList(node["entities"], number(node, "entityCount"), depth + 1);
        }
        if (node.contains("entries")) {
            printList(node["entries"], number(node, "count"), depth + 1);
        }
        if (node.contains("actions")) {
            printList(node["actions"], number(node, "actionCount"), depth + 1);
        }
    }

    void printAttachments(Json const& node, int depth)
    {
        if (node.contains("bag")) {
            line(depth, bagText(node["bag"]));
        } else if (node.contains("extendedData")) {
            for (Json const& data : node["extendedData"]) {
                line(depth, "extended data of " + text(data, "application") + ": " +
                                counted(number(data, "records"), "record"));
            }
        }
        if (node.contains("extensionDictionary")) {
            line(depth, "extension dictionary");
            printNode(node["extensionDictionary"], depth + 1);
        }
    }

    void printOthers(Json const& others)
    {
        if (number(others, "count") != 0) {
            line(1, "objects elsewhere: " + std::to_string(number(others, "count")));
            printList(others["entries"], number(others, "count"), 2);
        }
    }

    static void printClasses(Json const& classes)
    {
        line(1, "classes");
        for (Json const& cls : classes) {
            if (number(cls, "objects") == 0) {
                continue;
            }
            line(2, text(cls, "name") + ": " + counted(number(cls, "objects"), "object") +
                        (cls["registered"].get<bool>()
                             ? ""
                             : ", not there (" + text(cls, "application") + ')'));
        }
    }
};

}  // namespace

void printDrawingTree(Json const& tree)
{
    TreePrinter().print(tree);
}

}  // namespace zemhost
