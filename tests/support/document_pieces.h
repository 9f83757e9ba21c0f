// What random documents are made of: what the readers take notice of, and texts longer than their
// steps.
#pragma once

namespace zrp {

inline constexpr const char* kDocumentPieces[] = {
    "<",
    ">",
    "/",
    "</",
    " ",
    "\"",
    "=",
    "a",
    "<a>",
    "</a>",
    "<a/>",
    "<a b=\"/\">",
    "<a b/>",
    "<volume/>",
    "<a<",
    "<a/b>x/y</a/b>",
    "<name><![CDATA[z]]></name>",
    "<!",
    "<!--",
    "<?xml?>",
    "<![CDATA[",
    "]]>",
    "<name>",
    "</name>",
    "<value type=\"x\">",
    "</value>",
    "<value>",
    "<parm>",
    "</parm>",
    "<serverStatistics>",
    "</serverStatistics>",
    "<volume>",
    "</volume>",
    "<volumeNumber>7</volumeNumber>",
    "<result value=\"0\"/>",
    "0x1F",
    "sixteen bytes and some more",
};

} // namespace zrp
