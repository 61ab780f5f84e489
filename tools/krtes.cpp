// krtes: the command-line face of KrTesGeometry.
#include "KrTesCommands.h"

int main(int argc, char** argv)
{
    krtes::Cli cli;
    // In the order krtes --help lists them.
    krtes::AddTin(cli);
    krtes::AddElev(cli);
    krtes::AddDrape(cli);
    krtes::AddGrid(cli);
    krtes::AddVolume(cli);
    krtes::AddContour(cli);
    krtes::AddRender(cli);
    krtes::AddFit(cli);
    krtes::AddCollide(cli);
    krtes::AddBoolean(cli);
    return cli.Main(argc, argv);
}
