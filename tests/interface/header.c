#include "devprep/devprep.h"
