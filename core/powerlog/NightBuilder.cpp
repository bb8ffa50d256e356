#include "powerlog/NightBuilder.h"
