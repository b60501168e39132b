#include "SoundTest.h"
