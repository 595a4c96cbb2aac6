#pragma once

#include "models/LibraryTexts.h"

#include <functional>

class QMessageBox;
class QWidget;

// Window-modal questions; they never block the caller, so a test or a screen reader finds
// them open and answers them like a person.
namespace Questions {

// The question's destructive button runs `confirmed`; "Cancel" runs `cancelled`.
QMessageBox* askDestructive(QWidget* parent, const LibraryTexts::Question& question,
                            std::function<void()> confirmed, std::function<void()> cancelled = {});

} // namespace Questions
