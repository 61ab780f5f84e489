// A host that reaches for an internal header of the library: this file must
// fail to compile against both the installed package and the source tree.
#include "tin/KrDelaunayCore.h"

int main() { return 0; }
