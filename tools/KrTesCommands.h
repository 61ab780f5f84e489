#ifndef KRTES_TOOLS_KRTESCOMMANDS_H
#define KRTES_TOOLS_KRTESCOMMANDS_H

// The commands of the krtes program. Each lives in its own cmd_<name>.cpp
// and receives the arguments after its name.

#include <string>

namespace krtes {

int CmdTin(int argc, char** argv);
int CmdElev(int argc, char** argv);
int CmdDrape(int argc, char** argv);
int CmdFit(int argc, char** argv);
int CmdCollide(int argc, char** argv);
int CmdBoolean(int argc, char** argv);

// For an option that takes a value: moves i to the value and stores it in
// dst; false when the arguments end first.
bool NextValue(int argc, char** argv, int& i, std::string& dst);

// Prints "krtes: msg" to standard error and returns the failure exit code.
int Fail(const std::string& msg);

// The bundled sample terrain.
std::string SamplePoints();

// Elapsed wall time since construction.
class Timer {
public:
    Timer();
    double Seconds() const;

private:
    double m_t0;
};

}  // namespace krtes

#endif
