#include "powerlog/WakeReason.h"
