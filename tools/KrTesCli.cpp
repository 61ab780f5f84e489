// The krtes program's shared command line: parsing, reports, progress and
// the error style.
#include "KrTesCli.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdarg>
#include <iostream>
#include <new>

#include "KrTesGeometry/io/KrTesIO.h"

#ifndef KRTES_VERSION
#define KRTES_VERSION "unknown"
#endif

namespace krtes {

// --- Progress -------------------------------------------------------------

void Progress::Show(const std::string& line)
{
    std::string s = "\r" + line;
    if (line.size() < m_shown) s += std::string(m_shown - line.size(), ' ') + "\r" + line;
    std::fputs(s.c_str(), stderr);
    std::fflush(stderr);
    m_shown = line.size();
}

void Progress::Step(const std::string& what)
{
    if (!m_on) return;
    m_what = what;
    m_percent = -1;
    Show(what + " ...");
}

void Progress::Fraction(const std::string& what, std::size_t done, std::size_t total)
{
    if (!m_on) return;
    const int pct = static_cast<int>(100.0 * static_cast<double>(done) / static_cast<double>(total ? total : 1));
    if (pct == m_percent && what == m_what) return;
    m_what = what;
    m_percent = pct;
    Show(what + " " + std::to_string(pct) + "%");
}

void Progress::Clear()
{
    if (!m_on || m_shown == 0) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_shown), "");
    std::fflush(stderr);
    m_shown = 0;
    m_percent = -1;
    m_what.clear();
}

// --- Report ---------------------------------------------------------------

Report::Report(std::string command, bool json)
    : m_command(std::move(command)),
      m_json(json),
      m_doc(nlohmann::json::object()),
      m_progress(!json && isatty(STDERR_FILENO) != 0)
{
    m_doc["command"] = m_command;
    m_doc["warnings"] = nlohmann::json::array();
    m_doc["output"] = nullptr;
}

void Report::Line(const char* fmt, ...)
{
    if (m_json) return;
    m_progress.Clear();
    std::va_list ap;
    va_start(ap, fmt);
    std::vfprintf(m_text, fmt, ap);
    va_end(ap);
    std::fputc('\n', m_text);
}

void Report::Warn(const std::string& msg)
{
    m_doc["warnings"].push_back(msg);
    Line("warning       %s", msg.c_str());
}

void Report::PrintJson(bool ok)
{
    m_doc["ok"] = ok;
    std::fflush(stdout);
    std::cout << m_doc.dump(2) << std::endl;
}

bool Report::WriteText(const std::string& out, const std::string& text, std::string& err)
{
    if (!out.empty()) m_progress.Step("writing " + out);
    m_progress.Clear();
    if (!WriteTextOutput(out, text, err)) return false;
    if (out.empty()) m_text = stderr;  // keep the data on stdout clean
    m_doc["output"] = out.empty() ? nlohmann::json(nullptr) : nlohmann::json(out);
    return true;
}

int Report::Finish(const std::string& out, double seconds)
{
    if (!out.empty()) Line("written       %s", out.c_str());
    m_doc["time"] = {{"total", seconds}};
    Line("time          %.3f s", seconds);
    return Done();
}

bool Report::ReadSurface(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how)
{
    m_progress.Step("reading " + path);
    std::string err;
    if (ReadSurfaceFile(path, mesh, how, err)) return true;
    Fail(err);
    return false;
}

int Report::Fail(const std::string& msg)
{
    m_progress.Clear();
    if (m_json) {
        m_doc["error"] = msg;
        PrintJson(false);
    }
    std::fflush(stdout);
    std::fprintf(stderr, "krtes: %s: %s\n", m_command.c_str(), msg.c_str());
    return kExitData;
}

int Report::Done()
{
    m_progress.Clear();
    if (m_json) PrintJson(true);
    return kExitOk;
}

// --- Option kinds ---------------------------------------------------------

CLI::Option* AddFile(CLI::App* cmd, const std::string& name, std::string& dst, const std::string& help, bool required)
{
    CLI::Option* o = cmd->add_option(name, dst, help);
    o->type_name(name[0] == '-' ? "FILE" : "");
    if (required) o->required();
    return o;
}

CLI::Option* AddOutput(CLI::App* cmd, std::string& dst, const std::string& help,
                       const std::vector<std::string>& extensions)
{
    CLI::Option* o = cmd->add_option("-o,--output", dst, help)->type_name("OUT");
    if (!extensions.empty()) {
        o->check(CLI::Validator(
            [extensions](std::string& path) -> std::string {
                const std::string ext = Extension(path);
                for (const std::string& e : extensions)
                    if (ext == e) return "";
                std::string list;
                for (std::size_t k = 0; k < extensions.size(); ++k)
                    list += (k ? (k + 1 == extensions.size() ? " or " : ", ") : "") + extensions[k];
                return "unknown output format '" + path + "' (use " + list + ")";
            },
            ""));
    }
    return o;
}

CLI::Option* AddPositive(CLI::App* cmd, const std::string& name, double& dst, const std::string& valueName,
                         const std::string& help)
{
    return cmd
        ->add_option_function<std::string>(
            name,
            [name, &dst](const std::string& s) {
                double v = 0.0;
                if (!ParseNumber(s, v) || !(v > 0) || !std::isfinite(v))
                    throw CLI::ValidationError(name + " needs a positive number, got '" + s + "'");
                dst = v;
            },
            help)
        ->type_name(valueName);
}

CLI::Option* AddChoice(CLI::App* cmd, const std::string& name, std::string& dst,
                       const std::vector<std::string>& choices, const std::string& help)
{
    std::string list, bar;
    for (std::size_t k = 0; k < choices.size(); ++k) {
        list += (k ? (k + 1 == choices.size() ? " or " : ", ") : "") + choices[k];
        bar += (k ? "|" : "") + choices[k];
    }
    return cmd
        ->add_option_function<std::string>(
            name,
            [name, &dst, choices, list](const std::string& s) {
                for (const std::string& c : choices)
                    if (s == c) {
                        dst = s;
                        return;
                    }
                throw CLI::ValidationError(name + " must be " + list + ", got '" + s + "'");
            },
            help)
        ->type_name(bar);
}

void NeedOutputForJson(const Report& r, const std::string& out, const std::string& what)
{
    if (r.Json() && out.empty())
        throw UsageError("--json needs -o OUT (without it the " + what +
                         " go to standard output, which --json keeps for the report)");
}

// --- The program ----------------------------------------------------------

namespace {

// CLI11's messages reworded where they speak of counts rather than of the
// option: "--outline: 1 required FILE missing" becomes "--outline needs a
// value (FILE)".
std::string Explain(const CLI::ParseError& e)
{
    const std::string m = e.what();
    if (e.get_name() == "ArgumentMismatch") {
        const std::size_t colon = m.find(": 1 required ");
        if (colon != std::string::npos && m.size() > 8 && m.compare(m.size() - 8, 8, " missing") == 0) {
            const std::size_t t0 = colon + 13;
            return m.substr(0, colon) + " needs a value (" + m.substr(t0, m.size() - 8 - t0) + ")";
        }
    }
    return m;
}

}  // namespace

Cli::Cli() : m_app("Geometry of triangulated surfaces and solids: TINs, elevations, draping, fitting, "
                   "collision and solid booleans.",
                   "krtes")
{
    m_app.set_version_flag("--version", std::string("krtes ") + KRTES_VERSION + " (KrTesGeometry)",
                           "Print the version and exit");
    // Unknown arguments are collected and reported in this program's words.
    m_app.allow_extras();
    m_app.footer("Run 'krtes <command> --help' for a command's options and examples.\n"
                 "Exit codes: 0 success, 1 data error (bad file, failed computation), 2 usage error.");
}

CLI::App* Cli::Add(const std::string& name, const std::string& summary, const std::string& footer,
                   std::function<int(Report&)> run)
{
    auto e = std::make_unique<Entry>();
    e->app = m_app.add_subcommand(name, summary);
    e->app->allow_extras();
    e->app->footer(footer);
    e->app->add_flag("--json", e->json,
                     "Print the report as one JSON object on standard output (see the README for its fields)");
    e->run = std::move(run);
    m_commands.push_back(std::move(e));
    return m_commands.back()->app;
}

std::string Cli::CommandList() const
{
    std::string s;
    for (const auto& e : m_commands) s += (s.empty() ? "" : ", ") + e->app->get_name();
    return s;
}

int Cli::UsageFailure(const std::string& command, const std::string& msg) const
{
    std::fflush(stdout);
    if (command.empty())
        std::fprintf(stderr, "krtes: %s\n", msg.c_str());
    else
        std::fprintf(stderr, "krtes: %s: %s\n", command.c_str(), msg.c_str());
    return kExitUsage;
}

int Cli::Main(int argc, char** argv)
{
    auto current = [this]() -> std::string {
        const std::vector<CLI::App*> subs = m_app.get_subcommands();
        return subs.empty() ? std::string() : subs.front()->get_name();
    };
    // Help asked for wins over anything else on the line: a mistake, and an
    // option that would take "--help" as its value. Only the command (the
    // first word that is not an option) is kept.
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--") break;
        if (a != "-h" && a != "--help") continue;
        std::vector<char*> args{argv[0]};
        for (int j = 1; j < argc; ++j)
            if (argv[j][0] != '-') {
                args.push_back(argv[j]);
                break;
            }
        args.push_back(argv[i]);
        try {
            m_app.parse(static_cast<int>(args.size()), args.data());
        } catch (const CLI::ParseError& e) {
            if (e.get_exit_code() == 0) return m_app.exit(e);
            return UsageFailure(current(), Explain(e));
        }
        break;  // help always ends the parse; not reached
    }
    try {
        m_app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return m_app.exit(e);  // --help, --version
        return UsageFailure(current(), Explain(e));
    }

    const std::vector<std::string> extra = m_app.remaining();
    const std::string cmd = current();
    if (cmd.empty()) {
        if (extra.empty()) return UsageFailure("", "no command given (commands: " + CommandList() + "; see krtes --help)");
        if (extra[0].size() > 1 && extra[0][0] == '-')
            return UsageFailure("", "unknown option '" + extra[0] + "' (see krtes --help)");
        return UsageFailure("", "unknown command '" + extra[0] + "' (commands: " + CommandList() + ")");
    }
    for (const auto& e : m_commands) {
        if (e->app->get_name() != cmd) continue;
        std::vector<std::string> rest = e->app->remaining();
        rest.insert(rest.end(), extra.begin(), extra.end());
        for (const std::string& a : rest)
            if (a.size() > 1 && a[0] == '-')
                return UsageFailure(cmd, "unknown option '" + a + "' (see krtes " + cmd + " --help)");
        if (!rest.empty())
            return UsageFailure(cmd, "too many arguments: '" + rest[0] + "' (see krtes " + cmd + " --help)");

        Report report(cmd, e->json);
        try {
            return e->run(report);
        } catch (const UsageError& u) {
            return UsageFailure(cmd, u.what());
        } catch (const std::bad_alloc&) {
            return report.Fail("out of memory (the data is too large for the memory this process may use)");
        } catch (const std::exception& x) {
            return report.Fail(x.what());
        }
    }
    return UsageFailure("", "unknown command '" + cmd + "'");
}

// --- Small things ---------------------------------------------------------

namespace {
double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace

Timer::Timer() : m_t0(Now()) {}
double Timer::Seconds() const { return Now() - m_t0; }

std::string SamplePoints()
{
#ifdef KRTES_DATA_DIR
    return std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
#else
    return "data/jacksboro_scattered.xyz";
#endif
}

}  // namespace krtes
