#include "powerlog/PowerLogParser.h"
