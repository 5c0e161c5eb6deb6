#include "tools/trace/Options.h"

#include <cstdlib>

#include <CLI/CLI.hpp>

namespace TraceTool {
namespace {

void addFile(CLI::App& command, Options& options) {
    command.add_option("FILE", options.file, "trace, or a file with a trace in it")->required();
    CLI::Option* const at = command.add_option(
        "--at", options.at, "the trace begins at this octet of the file, as 4096 or 0x1000");
    command
        .add_flag("--find", options.find,
                  "look where in the file, as the core of a process, the trace begins")
        ->excludes(at);
}

} // namespace

Options parseOptions(int argc, char** argv) {
    Options options;
    CLI::App app(
        "Reads binary traces, of processes that live and that are gone.\n"
        "Exit status: 0 all was read; 1 something failed; 2 wrong usage, or no trace of\n"
        "this version and octet order; 3 the trace is damaged: shown is what could be read.",
        "varnol-trace");
    app.failure_message(CLI::FailureMessage::help);

    CLI::App* const show = app.add_subcommand(
        "show",
        "each finished block that is still in the ring: per lane, in the order in which the\n"
        "blocks began, indented by the blocks around them: when it began (UTC), how long it\n"
        "took, its kind, the handler or class, and what it is about; then the open blocks,\n"
        "outermost first, and of a process that is gone in what it was");
    addFile(*show, options);
    CLI::Option* const follow = show->add_flag(
        "-f,--follow", options.follow,
        "go on with what comes, block by block as they end, until interrupted or the process that\n"
        "writes is gone; what was seen at one look is in the order in which it began");
    show->add_option("--poll", options.poll, "milliseconds from look to look")
        ->needs(follow)
        ->check(CLI::Range(1U, 3600000U))
        ->capture_default_str();

    CLI::App* const stats = app.add_subcommand(
        "stats",
        "what the finished blocks took, by message or class, kind and attribute: those with\n"
        "the most own time, without the blocks within them, first; + where the own time of some\n"
        "is left out, because blocks within them may be missing in the trace");
    addFile(*stats, options);
    stats->add_flag("-j,--json", options.json, "JSON, in nanoseconds");
    std::string by = "attribute";
    stats
        ->add_option("--by", by,
                     "attribute: a row for each message or class, kind and attribute;\n"
                     "handler: for each message or class and kind, over all attributes")
        ->check(CLI::IsMember({"attribute", "handler"}))
        ->capture_default_str();

    CLI::App* const tree = app.add_subcommand(
        "tree",
        "what triggered what: a change, the reactors that it ran, their handlers, what these\n"
        "wrote, and so on, each indented below what it ran in");
    addFile(*tree, options);

    CLI::App* const exportAs = app.add_subcommand("export", "the blocks for another program");
    addFile(*exportAs, options);
    CLI::Option* const chrome =
        exportAs->add_option("--chrome", options.chrome,
                             "write this file, for chrome://tracing or Perfetto: complete events, "
                             "and begins without an\n"
                             "end for open blocks");
    CLI::Option* const ctf =
        exportAs->add_option("--ctf", options.ctf,
                             "make this folder, for babeltrace2 (CTF 1.8): an event \"block\" for "
                             "each finished block, at\n"
                             "its end, and an event \"open\" for each open one");
    chrome->excludes(ctf);

    try {
        app.parse(argc, argv);
        if (app.get_subcommands().size() != 1)
            throw CLI::RequiredError("one command");
        if (exportAs->parsed() && options.chrome.empty() && options.ctf.empty())
            throw CLI::RequiredError("--chrome OUT or --ctf DIR");
    } catch (CLI::ParseError const& error) {
        std::exit(app.exit(error) == 0 ? 0 : 2);
    }
    options.by = by == "handler" ? StatsBy::handler : StatsBy::attribute;
    options.command = stats->parsed()      ? Options::Command::stats
                      : tree->parsed()     ? Options::Command::tree
                      : exportAs->parsed() ? Options::Command::exportAs
                                           : Options::Command::show;
    return options;
}

} // namespace TraceTool
