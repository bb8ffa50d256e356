#include "powerlog/Night.h"
