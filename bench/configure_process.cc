// One process that configures: the shared library loaded, one pass run.
#include "devprep/devprep.h"

int main() { return SetUpInitTapesvrConfig(); }
