// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

namespace kvn {

/// The characters from 0x80 on in UTF-8 (the mapping table of the Unicode consortium, APPLE/ROMAN.TXT).
inline constexpr std::string_view kMacRomanUpperHalf[128] = {
    "Ä", "Å", "Ç", "É", "Ñ", "Ö", "Ü", "á", "à", "â", "ä", "ã", "å", "ç", "é", "è", "ê", "ë",      "í",
    "ì", "î", "ï", "ñ", "ó", "ò", "ô", "ö", "õ", "ú", "ù", "û", "ü", "†", "°", "¢", "£", "§",      "•",
    "¶", "ß", "®", "©", "™", "´", "¨", "≠", "Æ", "Ø", "∞", "±", "≤", "≥", "¥", "µ", "∂", "∑",      "∏",
    "π", "∫", "ª", "º", "Ω", "æ", "ø", "¿", "¡", "¬", "√", "ƒ", "≈", "∆", "«", "»", "…", "\u00A0", "À",
    "Ã", "Õ", "Œ", "œ", "–", "—", "“", "”", "‘", "’", "÷", "◊", "ÿ", "Ÿ", "⁄", "€", "‹", "›",      "ﬁ",
    "ﬂ", "‡", "·", "‚", "„", "‰", "Â", "Ê", "Á", "Ë", "È", "Í", "Î", "Ï", "Ì", "Ó", "Ô", "\uF8FF", "Ò",
    "Ú", "Û", "Ù", "ı", "ˆ", "˜", "¯", "˘", "˙", "˚", "¸", "˝", "˛", "ˇ",
};

/// Returns the UTF-8 form of a text in the Mac OS Roman encoding, in which every byte is a character.
/// Any thread.
inline std::string utf8FromMacRoman(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x80) {
            text += byte;
        } else {
            text += kMacRomanUpperHalf[code - 0x80];
        }
    }
    return text;
}

} // namespace kvn
