#pragma once

#include <QLoggingCategory>

// Diagnostics of the file model ("NSTrashDirectory error: ..." and the like).
Q_DECLARE_LOGGING_CATEGORY(lcModel)
