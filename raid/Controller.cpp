#include "raid/Controller.h"

CController::~CController() = default;
