#include "cli/program.h"
#include "cli/commands.h"
#include "cli/safe_text.h"
#include "foundation/result.h"
#include "lpa/lpa.h"
#include <CLI/CLI.hpp>
#include <memory>
#include <optional>

namespace {

using nlohmann::json;

struct options {
    command_input input;
    bool as_json = false;
    bool yes = false;
    bool no_reload = false;
    std::string proxy;
};

struct streams {
    std::istream &in;
    std::ostream &out;
    std::ostream &err;
};

struct outcome {
    uint32_t code = 0;
    std::optional<std::string> document; // absent when there is none
};

std::optional<std::string> take_document(char *text)
{
    const std::unique_ptr<char, void (*)(void *)> owner(text, M_free);
    return text ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::string> code_document(uint32_t code)
{
    char *text = nullptr;
    json_generator__process_error(code, &text);
    return take_document(text);
}

outcome run_operation(const command &command, const command_input &input)
{
    char *text = nullptr;
    uint32_t length = 0;
    const uint32_t code = command.run(input, &text, &length);
    return {code, take_document(text)};
}

// The card's texts stand in the documents as they are: one with a quote makes a document that is no JSON.
json parse(const std::string &document) { return json::parse(escaped_json(document), nullptr, false); }

std::string describe(const std::optional<std::string> &document)
{
    if (!document) return "no description";
    const json parsed = parse(*document);
    return parsed.is_object() ? text_member(parsed, "description", "no description") : printable(*document);
}

// What people need beside the description: for 17 there is none, and 1 tells nothing.
const char *explanation(uint32_t code)
{
    if (code == RESULT__FATAL_ERROR) return ", /tmp/mobile/lpa.log tells more";
    if (code == RESULT__ISDR_UNREACHABLE) return ", the eUICC's ISD-R could not be reached";
    return "";
}

void report_failure(const command &command, const outcome &outcome, std::ostream &err)
{
    err << "lpa: " << command.name << ": ";
    if (outcome.code == RESULT__EUICC_RESULT)
        err << "the card reported a result of its own: " << describe(outcome.document);
    else err << describe(code_document(outcome.code));
    err << " (result code " << outcome.code << explanation(outcome.code) << ")\n";
}

// Exactly one document, also for operations that have none.
void print_json(const outcome &outcome, std::ostream &out)
{
    const auto document = outcome.document ? outcome.document : code_document(outcome.code);
    if (document) out << escaped_json(*document) << '\n';
}

void print_readable(const command &command, const outcome &outcome, const streams &streams)
{
    if (!command.show) {
        streams.out << command.done << '\n';
        return;
    }
    if (!outcome.document) {
        streams.err << "lpa: " << command.name
                    << ": done, but the card's answer could not be read; see /tmp/mobile/lpa.log\n";
        return;
    }
    const json document = parse(*outcome.document);
    if (document.is_discarded()) streams.out << printable(*outcome.document) << '\n';
    else command.show(document, streams.out);
}

bool is_confirmed(const command &command, const options &options, const streams &streams)
{
    if (!command.question || options.yes) return true;
    streams.err << "lpa: " << options.input.modem << ": " << command.question << " [y/N] " << std::flush;
    std::string answer;
    std::getline(streams.in, answer);
    if (answer == "y" || answer == "Y" || answer == "yes") return true;
    streams.err << "lpa: " << command.name << ": not confirmed, nothing was done (--yes does not ask)\n";
    return false;
}

int execute(const command &command, options &options, const streams &streams)
{
    if (!is_confirmed(command, options, streams)) return EXIT__NOT_CONFIRMED;
    if (!options.proxy.empty()) g_socks_proxy_address = options.proxy.data();
    LPA__set_reload_disabled(options.no_reload ? 1 : 0);
    const outcome outcome = run_operation(command, options.input);
    g_socks_proxy_address = nullptr;
    if (options.as_json) print_json(outcome, streams.out);
    else if (outcome.code == RESULT__OK) print_readable(command, outcome, streams);
    if (outcome.code != RESULT__OK) report_failure(command, outcome, streams.err);
    if (!streams.out.flush()) {
        streams.err << "lpa: " << command.name << ": cannot write to standard output\n";
        return EXIT__NOT_WRITTEN;
    }
    return static_cast<int>(outcome.code);
}

std::string check_modem(const std::string &name)
{
    const bool is_known =
        name == "modem" || (name.size() == 6 && name.starts_with("modem") && name[5] >= '0' && name[5] <= '4');
    return is_known ? "" : "there is modem0 to modem4, not " + printable(name);
}

void add_global_options(CLI::App &app, options &options)
{
    options.input.modem = "modem0";
    app.add_option("-m,--modem", options.input.modem, "Modem, modem0 to modem4")
        ->check(check_modem)
        ->capture_default_str();
    app.add_flag("--json", options.as_json, "Print the library's JSON document");
    app.add_flag("--no-reload", options.no_reload, "Leave the modem alone after profile changes");
    app.add_option("--proxy", options.proxy, "SOCKS5 proxy for the server, host:port");
    app.set_version_flag("--version", "lpa " LPA_VERSION, "Print the version and exit");
}

CLI::App *add_command(CLI::App &app, const command &command, options &options)
{
    CLI::App *added = app.add_subcommand(command.name, command.help);
    for (size_t i = 0; i < command.arguments.size(); ++i)
        added
            ->add_option_function<std::string>(
                command.arguments[i].name,
                [&options](const std::string &text) { options.input.arguments.push_back(text); },
                command.arguments[i].help)
            ->required();
    if (command.takes_confirmation_code)
        added->add_option("--confirmation-code", options.input.confirmation_code,
                          "Confirmation code, when the provider gave one");
    if (command.question) added->add_flag("--yes", options.yes, "Do not ask first");
    return added;
}

constexpr const char *footer = R"(Exit status: the library's result code.
   0  done                         10  eSIM busy
   1  fatal error                  11  connection failed
   2  not supported                12  not enough free memory on the card
   3  not implemented              13  server refused the authentication
   4  bad argument                 14  modem error
   5  JSON parse error             15  SIM card error
   6  eSIM error                   16  the card reported a result of its own
   7  not enough buffer            17  the eUICC's ISD-R not reached
   8  no data                      18  session cancelled
   9  no memory
  64  wrong usage, nothing done    65  not confirmed, nothing done
  74  the outcome could not be written to standard output)";

} // namespace

int run_program(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err)
{
    CLI::App app("Manages the eSIM profiles behind a modem.", "lpa");
    options options;
    app.fallthrough(); // global options also after the command
    add_global_options(app, options);
    app.require_subcommand(1);
    app.footer(footer);
    std::vector<CLI::App *> subcommands;
    for (const command &command : commands())
        subcommands.push_back(add_command(app, command, options));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error, out, err) == 0 ? 0 : EXIT__USAGE;
    }
    for (size_t i = 0; i < subcommands.size(); ++i)
        if (subcommands[i]->parsed()) return execute(commands()[i], options, {in, out, err});
    return EXIT__USAGE;
}
