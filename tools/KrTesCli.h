#ifndef KRTES_TOOLS_KRTESCLI_H
#define KRTES_TOOLS_KRTESCLI_H

// The command line of the krtes program, shared by every command: the
// application and its subcommands, the kinds of option the commands have in
// common, the report (text or --json), progress on a terminal, and the one
// style of errors:
//
//   krtes: <command>: <message>      on standard error, one line
//   exit 2  a usage error (unknown option, missing value, bad number, ...)
//   exit 1  a data error (a file that cannot be read, a failed computation)

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace TesTriMesh {
class CKrMeshData;
}

namespace krtes {

enum ExitCode { kExitOk = 0, kExitData = 1, kExitUsage = 2 };

// Thrown by a command when its arguments, though each well formed, do not
// go together (found after parsing, before any file is read): exit 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One line on standard error, rewritten in place, for steps that may take a
// while. Silent unless standard error is a terminal.
class Progress {
public:
    explicit Progress(bool enabled) : m_on(enabled) {}
    ~Progress() { Clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool Enabled() const { return m_on; }
    // A step starts: "<what> ..." until the next step or Clear().
    void Step(const std::string& what);
    // A step's share done; the line is rewritten only when the percentage moves.
    void Fraction(const std::string& what, std::size_t done, std::size_t total);
    // Erases the line (before anything else is printed on the terminal).
    void Clear();

private:
    void Show(const std::string& line);
    bool m_on;
    std::size_t m_shown = 0;  // characters on the line now
    int m_percent = -1;
    std::string m_what;
};

// The report of one run of a command: text lines, or with --json the fields
// of one JSON object printed at the end (and nothing else on standard
// output). Data errors go through Fail.
class Report {
public:
    Report(std::string command, bool json);

    const std::string& Command() const { return m_command; }
    bool Json() const { return m_json; }
    // The field key of the JSON report (unused without --json).
    nlohmann::json& operator[](const char* key) { return m_doc[key]; }
    // A text report line (printf format), to standard output unless
    // TextToStderr() was called; nothing with --json.
    void Line(const char* fmt, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    // A warning: a text line "warning       msg", or an entry of "warnings".
    void Warn(const std::string& msg);
    krtes::Progress& Progress() { return m_progress; }

    // For commands whose result is text: writes it to out, or to standard
    // output when out is empty (the text report then goes to standard
    // error), and records "output". False, with err, when it cannot.
    bool WriteText(const std::string& out, const std::string& text, std::string& err);
    // The last lines of a report: "written OUT" when out is not empty, and
    // the total time. Returns Done().
    int Finish(const std::string& out, double seconds);

    // A data error: "krtes: <command>: msg" on standard error; with --json
    // the report so far, with "ok": false and "error": msg. Returns 1.
    int Fail(const std::string& msg);
    // Success: with --json prints the report ("ok": true). Returns 0.
    int Done();

    // Reads the surface of a command (a "reading PATH" progress step); how
    // names the kind of file. On failure reports it through Fail and
    // returns false.
    bool ReadSurface(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how);

private:
    void PrintJson(bool ok);
    std::string m_command;
    bool m_json;
    std::FILE* m_text = stdout;
    nlohmann::json m_doc;
    krtes::Progress m_progress;
};

// The program: the app with one subcommand per command.
class Cli {
public:
    Cli();
    // A command: its one-line summary (listed by krtes --help), a few lines
    // of detail and examples (the footer of its --help), and what runs it.
    // Every command gets --json. Returns the subcommand, for its options.
    CLI::App* Add(const std::string& name, const std::string& summary, const std::string& footer,
                  std::function<int(Report&)> run);
    int Main(int argc, char** argv);

private:
    struct Entry {
        CLI::App* app;
        std::function<int(Report&)> run;
        bool json = false;
    };
    int UsageFailure(const std::string& command, const std::string& msg) const;
    std::string CommandList() const;
    CLI::App m_app;
    std::vector<std::unique_ptr<Entry>> m_commands;
};

// The kinds of option the commands share. Each returns the option, for
// further settings.

// An input file: a positional when name has no leading '-' (e.g. "SURFACE"),
// otherwise an option taking a FILE.
CLI::Option* AddFile(CLI::App* cmd, const std::string& name, std::string& dst, const std::string& help,
                     bool required = false);
// -o/--output FILE; when extensions are given (".obj", ".ply") any other is
// refused as a usage error.
CLI::Option* AddOutput(CLI::App* cmd, std::string& dst, const std::string& help,
                       const std::vector<std::string>& extensions = {});
// A positive, finite number (the project's number syntax).
CLI::Option* AddPositive(CLI::App* cmd, const std::string& name, double& dst, const std::string& valueName,
                         const std::string& help);
// One word of a fixed list.
CLI::Option* AddChoice(CLI::App* cmd, const std::string& name, std::string& dst,
                       const std::vector<std::string>& choices, const std::string& help);

// For commands that write their result to standard output without -o:
// with --json that output is refused (standard output holds the report).
void NeedOutputForJson(const Report& r, const std::string& out, const std::string& what);

// Monotonic seconds since construction.
class Timer {
public:
    Timer();
    double Seconds() const;

private:
    double m_t0;
};

// The bundled sample terrain.
std::string SamplePoints();

// Three coordinates as a JSON array.
template <class P>
nlohmann::json Xyz(const P& p)
{
    return nlohmann::json::array({p.x, p.y, p.z});
}

}  // namespace krtes

#endif
