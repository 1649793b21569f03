// SPDX-License-Identifier: MIT
#include "drawings.h"

const char* const kPlotStyle =
    "text{font-family:'DejaVu Sans',Verdana,Helvetica,Arial,sans-serif;fill:#1f2937}"
    ".paper{fill:#fff}.title{font-size:20px;font-weight:600}"
    ".heading{font-size:14px;font-weight:600}.name{font-size:12.5px;font-weight:600}"
    ".small,.unit{font-size:12px;fill:#4b5563}.tick{font-size:11px;fill:#6b7280}"
    ".grid{stroke:#d8dee6;stroke-width:1}.frame{fill:none;stroke:#9aa4b2}";
