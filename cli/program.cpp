#include "cli/program.h"
#include "cli/activation_code.h"
#include "cli/commands.h"
#include "cli/interruption.h"
#include "cli/messages.h"
#include "cli/profile_choice.h"
#include "cli/safe_text.h"
#include "cli/status.h"
#include "cli/watch.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

constexpr const char *default_modem = "modem0";

struct options {
    command_input input;
    bool as_json = false;
    bool yes = false;
    bool no_reload = false;
    bool quiet = false;
    std::string proxy;
    int log_level = -1; // as configured
    bool log_to_console = false;
};

struct streams {
    std::istream &in;
    page out;
    page err;
    bool answers; // somebody at in can be asked
    progress_place progress;
};

// ---- Outcomes -----------------------------------------------------------------------------------------------------

bool is_result_code(uint32_t code) { return code < EXIT__USAGE; }

std::string what_happened(const outcome &outcome)
{
    if (!is_result_code(outcome.code)) return text_member(*outcome.document, "description");
    if (const char *what = message_for(outcome.code).what) return what;
    if (outcome.code != RESULT__EUICC_RESULT) return printable(code_description(outcome.code));
    const json document = outcome.document.value_or(json::object());
    return "the card reported a result of its own: " +
           text_member(document, document.contains("document") ? "document" : "description", "no description");
}

void report_failure(const command &command, const outcome &outcome, const page &err)
{
    err.out << "lpa: " << command.name << ": " << what_happened(outcome);
    if (is_result_code(outcome.code)) {
        const message &message = message_for(outcome.code);
        err.out << " (result code " << outcome.code << ")\n  Why:  " << message.why << "\n  Next: " << message.next;
    }
    err.out << '\n';
    if (outcome.document && outcome.document->contains("candidates"))
        show_profiles(outcome.document->at("candidates"), err);
}

void print_json(const outcome &outcome, const page &out)
{
    const auto document =
        outcome.document ? outcome.document : ended(outcome.code, code_description(outcome.code)).document;
    out.out << json_text(*document) << '\n';
}

bool is_unreadable(const json &document) { return document.is_object() && document.contains("document"); }

void print_readable(const command &command, const outcome &outcome, const streams &streams)
{
    if (!command.show) {
        streams.out.out << command.done << '\n';
        return;
    }
    if (!outcome.document) {
        streams.err.out << "lpa: " << command.name
                        << ": done, but the card's answer could not be read; see /tmp/mobile/lpa.log\n";
        return;
    }
    if (is_unreadable(*outcome.document)) streams.out.out << text_member(*outcome.document, "document") << '\n';
    else command.show(*outcome.document, streams.out);
}

// A screen that is not complete is printed all the same.
void print_outcome(const command &command, const outcome &outcome, bool as_json, const streams &streams)
{
    if (as_json) print_json(outcome, streams.out);
    else if (outcome.code == RESULT__OK || is_screen(outcome)) print_readable(command, outcome, streams);
}

// The exit status: this one, unless all went well and nobody was told.
int when_written(uint32_t status, const streams &streams)
{
    if (streams.out.out.flush()) return static_cast<int>(status);
    streams.err.out << "lpa: cannot write to standard output\n";
    return status == EXIT_SUCCESS ? EXIT__NOT_WRITTEN : static_cast<int>(status);
}

int conclude(const command &command, const outcome &outcome, bool as_json, const streams &streams)
{
    const bool printed_as_it_went = !command.run && outcome.code == RESULT__OK;
    if (!printed_as_it_went) print_outcome(command, outcome, as_json, streams);
    if (outcome.code != RESULT__OK) report_failure(command, outcome, streams.err);
    return when_written(outcome.code, streams);
}

// ---- Before the operation: how the command ended already, if it did -----------------------------------------------

// Without an answer the question's line is still open.
std::string read_answer(const streams &streams)
{
    std::string answer;
    if (!std::getline(streams.in, answer)) streams.err.out << '\n';
    return answer;
}

std::optional<outcome> complete_confirmation_code(command_input &input, const streams &streams)
{
    if (!input.confirmation_code.empty() || !needs_confirmation_code(input.arguments[0])) return {};
    if (!streams.answers)
        return ended(EXIT__USAGE, "this activation code needs a confirmation code: give --confirmation-code CODE");
    const hidden_input hidden;
    streams.err.out << "Confirmation code (from the provider, not shown): " << std::flush;
    input.confirmation_code = read_answer(streams);
    if (input.confirmation_code.empty()) return ended(EXIT__NOT_CONFIRMED, "no confirmation code, nothing was done");
    return {};
}

std::optional<outcome> complete_activation_code(command_input &input, const streams &streams)
{
    if (input.arguments.empty() == input.picture.empty())
        return ended(EXIT__USAGE, "give one activation code: CODE, - for standard input, or --qr FILE");
    input.arguments.resize(1);
    auto end = input.picture.empty() ? read_code(input.arguments[0], streams.in)
                                     : read_code_from_picture(input.arguments[0], input.picture);
    if (end) return end;
    if (!is_activation_code(input.arguments[0]))
        return ended(EXIT__USAGE,
                     "this is no activation code: it is LPA:1$address$token, in single quotes (') since the "
                     "shell takes $ for itself");
    return complete_confirmation_code(input, streams);
}

std::optional<outcome> complete_arguments(const command &command, command_input &input, const streams &streams)
{
    for (size_t i = 0; i < command.arguments.size(); ++i) {
        std::optional<outcome> end;
        if (command.arguments[i].kind == argument_kind::profile) end = choose_profile(input.modem, input.arguments[i]);
        if (command.arguments[i].kind == argument_kind::activation_code) end = complete_activation_code(input, streams);
        if (end) return end;
    }
    return {};
}

std::optional<outcome> ask_first(const command &command, const options &options, const streams &streams)
{
    if (!command.question || options.yes) return {};
    std::string question = command.question;
    if (const size_t place = question.find("{}"); place != std::string::npos)
        question.replace(place, 2, options.input.arguments[0]);
    streams.err.out << "lpa: " << options.input.modem << ": " << question << " [y/N] " << std::flush;
    const std::string answer = read_answer(streams);
    if (answer == "y" || answer == "Y" || answer == "yes") return {};
    return ended(EXIT__NOT_CONFIRMED, "not confirmed, nothing was done (--yes does not ask)");
}

// ---- The operation ------------------------------------------------------------------------------------------------

void hand_to_library(options &options)
{
    g_socks_proxy_address = options.proxy.empty() ? nullptr : options.proxy.data();
    LPA__set_reload_disabled(options.no_reload ? 1 : 0);
    if (options.log_level >= 0) log__set_log_level(options.log_level);
    g_log_to_console = options.log_to_console; // which setting a level turns on
}

outcome run_command(const command &command, options &options, const streams &streams)
{
    if (!command.run)
        return watch_updates({.modem = options.input.modem,
                              .count = options.input.event_count,
                              .as_json = options.as_json,
                              .quiet = options.quiet},
                             streams.out, streams.err);
    if (options.input.modem.empty()) options.input.modem = default_modem;
    if (auto end = complete_arguments(command, options.input, streams)) return *end;
    if (auto end = ask_first(command, options, streams)) return *end;
    std::optional<progress_display> display;
    if (!options.quiet) display.emplace(streams.err.out, streams.progress);
    return command.run(options.input);
}

int execute(const command &command, options &options, const streams &streams)
{
    const bool uses_card = command.run;
    interruption__begin(uses_card, uses_card && options.as_json);
    hand_to_library(options);
    const outcome outcome = run_command(command, options, streams);
    g_socks_proxy_address = nullptr;
    interruption__end();
    return conclude(command, outcome, options.as_json, streams);
}

// ---- The command line ---------------------------------------------------------------------------------------------

std::string check_modem(const std::string &name)
{
    const bool is_known =
        name == "modem" || (name.size() == 6 && name.starts_with("modem") && name[5] >= '0' && name[5] <= '4');
    return is_known ? "" : "there is modem0 to modem4, not " + printable(name);
}

bool is_number_up_to(uint32_t highest, const std::string &text)
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size() && number > 0 && number <= highest;
}

std::string check_count(const std::string &text)
{
    return is_number_up_to(999'999'999, text) ? "" : "there is no such number of events: " + printable(text);
}

std::string check_proxy(const std::string &text)
{
    const size_t colon = text.rfind(':');
    const bool is_proxy =
        colon != std::string::npos && colon > 0 && is_number_up_to(UINT16_MAX, text.substr(colon + 1));
    return is_proxy ? "" : "a proxy is given as HOST:PORT, not " + printable(text);
}

void add_global_options(CLI::App &app, options &options)
{
    app.add_option("-m,--modem", options.input.modem, "modem0 to modem4")
        ->check(check_modem)
        ->type_name("MODEM")
        ->default_str(default_modem);
    app.add_flag("--json", options.as_json, "Print one JSON document, whatever happens");
    app.add_flag("-q,--quiet", options.quiet, "Show no progress, only results and errors");
    app.add_flag("--no-reload", options.no_reload, "Leave the modem alone after profile changes");
    app.add_option("--proxy", options.proxy, "SOCKS5 proxy for the server")->check(check_proxy)->type_name("HOST:PORT");
    app.add_option("--log-level", options.log_level, "0 (nothing) to 5 (everything) instead of the configured level")
        ->check(CLI::Range(0, 5).description(""))
        ->type_name("N");
    app.add_flag("--log-to-console", options.log_to_console, "Write the log to standard error as well");
    app.set_version_flag("--version", "lpa " LPA_VERSION, "Print the version and exit");
}

void add_argument(CLI::App &app, const command_argument &argument, options &options)
{
    auto *const added = app.add_option_function<std::string>(
        argument.name, [&options](const std::string &text) { options.input.arguments.push_back(text); }, argument.help);
    added->type_name("");
    if (argument.kind != argument_kind::activation_code) {
        added->required();
        return;
    }
    app.add_option("--qr", options.input.picture, "Read the code from a picture of a QR code (with zbarimg)")
        ->type_name("FILE");
    app.add_option("--confirmation-code", options.input.confirmation_code,
                   "Confirmation code, when the provider gave one")
        ->type_name("CODE");
}

CLI::App *add_command(CLI::App &app, const command &command, options &options)
{
    CLI::App *added = app.add_subcommand(command.name, command.help);
    for (const command_argument &argument : command.arguments)
        add_argument(*added, argument, options);
    if (command.question) added->add_flag("--yes", options.yes, "Do not ask first");
    if (!command.run)
        added->add_option("--count", options.input.event_count, "End after so many events")
            ->check(check_count)
            ->type_name("N");
    added->footer(std::string("Example: lpa ") + command.name + (*command.example ? " " : "") + command.example +
                  "\nOptions of all commands: lpa --help");
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
   7  not enough buffer            17  eUICC not reached
   8  no data                      18  session cancelled
   9  no memory
  64  wrong usage                  65  not confirmed
  66  no such profile or activation code, or several; like 64 and 65: nothing done
  69  watch: no bus
  74  done, but the outcome could not be written to standard output
 130  interrupted; other signals likewise, 128 and their number)";

std::string what_is_wrong(const CLI::App &app, const CLI::Error &error)
{
    const auto unknown = app.remaining(true);
    if (unknown.empty() || error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError))
        return printable(error.what());
    const bool is_command = app.get_subcommands().empty() && !unknown[0].starts_with('-');
    return (is_command ? "there is no command " : "not expected: ") + printable(unknown[0]);
}

std::string tell_wrong_usage(const CLI::App *app, const CLI::Error &error)
{
    const auto commands = app->get_subcommands();
    const std::string command = commands.empty() ? "" : commands[0]->get_name();
    return "lpa: " + (command.empty() ? "" : command + ": ") + what_is_wrong(*app, error) + "\n  Next: lpa " +
           (command.empty() ? "" : command + " ") + "--help\n";
}

// A command line that cannot be read may still ask for JSON.
bool asks_for_json(int argc, const char *const *argv)
{
    return std::any_of(argv, argv + argc, [](const char *word) { return std::string_view(word) == "--json"; });
}

} // namespace

int run_program(int argc, const char *const *argv, std::istream &in, std::ostream &out, std::ostream &err,
                terminal_use terminals)
{
    CLI::App app("Manages the eSIM profiles behind a modem.", "lpa");
    options options;
    app.fallthrough(); // global options also after the command
    add_global_options(app, options);
    app.require_subcommand(0, 1); // none is told below, after what was not understood
    app.footer(footer);
    app.failure_message(tell_wrong_usage);
    std::vector<CLI::App *> subcommands;
    for (const command &command : commands())
        subcommands.push_back(add_command(app, command, options));
    const streams streams = {in, {out, terminals.colours}, {err}, terminals.answers, terminals.progress};
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("a command");
    } catch (const CLI::ParseError &error) {
        if (app.exit(error, out, err) == 0) return when_written(EXIT_SUCCESS, streams);
        if (asks_for_json(argc, argv)) print_json(ended(EXIT__USAGE, what_is_wrong(app, error)), streams.out);
        return EXIT__USAGE;
    }
    for (size_t i = 0; i < subcommands.size(); ++i)
        if (subcommands[i]->parsed()) return execute(commands()[i], options, streams);
    return EXIT__USAGE;
}
