#pragma once

#include <QString>
#include <initializer_list>

// Texts that make character counting hard, built from code points so a test shows exactly
// which units are involved.
namespace TestText {

inline QString u(std::initializer_list<char32_t> codePoints)
{
    QString s;
    for (char32_t cp : codePoints)
        s += QString::fromUcs4(&cp, 1);
    return s;
}

inline const QString eAcuteComposed = u({0xE9});
inline const QString eAcuteDecomposed = u({'e', 0x301});
inline const QString thumbsUpMedium = u({0x1F44D, 0x1F3FD}); // skin-tone modifier
inline const QString womanTechnologist = u({0x1F469, 0x200D, 0x1F4BB});
inline const QString family = u({0x1F469, 0x200D, 0x1F469, 0x200D, 0x1F467, 0x200D, 0x1F466});
inline const QString flagUs = u({0x1F1FA, 0x1F1F8});
inline const QString flagsUsFr = u({0x1F1FA, 0x1F1F8, 0x1F1EB, 0x1F1F7});
inline const QString hangulJamo = u({0x1100, 0x1161, 0x11A8}); // one syllable, decomposed

} // namespace TestText
