#include "app/write/html_style.h"

namespace app {

namespace {

// Every color is a variable, so that a test can compute the contrasts of both modes.
constexpr char const* COLORS = R"(
:root{--paper:#fcfcfb;--ink:#1d2327;--muted:#566069;--line:#dfe3e5;--hover:#f3f5f5;
--branch:#b4bdc3;--link:#1d5f8a;--track:#e4e8ea;--fill:#4a7fa5;--full:#b0480e;
--alert:#fdf1ea;--alert-line:#b0480e;--alert-ink:#7d2f05}
@media screen and (prefers-color-scheme:dark){
:root{--paper:#14181b;--ink:#e3e7e9;--muted:#9aa5ad;--line:#2b3237;--hover:#1b2024;
--branch:#4d585f;--link:#86bce0;--track:#2a3136;--fill:#5f9cc6;--full:#e8935c;
--alert:#2a1d15;--alert-line:#e8935c;--alert-ink:#f3b48c}}
)";

constexpr char const* PAGE = R"(
*{box-sizing:border-box}
html{-webkit-text-size-adjust:100%;text-size-adjust:100%}
body{margin:0 auto;max-width:80rem;padding:0 2rem 4rem;background:var(--paper);color:var(--ink);
font:15px/1.5 -apple-system,"Segoe UI",Roboto,"Noto Sans","Liberation Sans",Arial,sans-serif;
font-variant-numeric:tabular-nums;overflow-wrap:anywhere}
a{color:var(--link);text-underline-offset:.15em;text-decoration-thickness:1px}
p,h1,h2,dl,dd,ol,ul,figure{margin:0;padding:0}
ol,ul{list-style:none}
.unknown{color:var(--muted)}
header{padding:3rem 0 1.25rem;display:flex;flex-wrap:wrap;gap:.5rem 2rem;align-items:flex-end;
justify-content:space-between}
h1{font-size:2rem;line-height:1.2;font-weight:600;letter-spacing:-.015em}
header p{color:var(--muted)}
header .read{text-align:right;font-size:.8125rem}
nav{display:flex;flex-wrap:wrap;gap:.25rem 1.25rem;padding:.625rem 0;font-size:.8125rem;
border-top:1px solid var(--line)}
nav a{text-decoration:none}
nav a:hover{text-decoration:underline}
section{border-top:1px solid var(--line);padding:1.75rem 0;display:grid;
grid-template-columns:8.5rem minmax(0,1fr);gap:1rem 2rem}
h2{font-size:1rem;line-height:1.5;font-weight:600}
.content{display:grid;gap:1.5rem;min-width:0}
#problems{background:var(--alert);border-top:3px solid var(--alert-line);padding:1.25rem 1.5rem;
margin:0 -1.5rem;color:var(--ink)}
#problems h2{color:var(--alert-ink)}
#problems li{padding:.25rem 0}
#problems strong{font-weight:600}
)";

constexpr char const* GLANCE = R"(
.glance{display:grid;grid-template-columns:repeat(4,minmax(0,1fr));gap:1.75rem 2rem}
.glance dt{font-size:.75rem;color:var(--muted)}
.glance .figure{font-size:1.375rem;line-height:1.35;letter-spacing:-.01em}
.glance .more{font-size:.8125rem;line-height:1.45;color:var(--muted)}
.bar{display:inline-block;vertical-align:middle;width:4.5rem;height:6px;margin-right:.625rem;
border-radius:3px;background:var(--track);overflow:hidden}
.glance .bar{display:block;width:100%;margin:.375rem 0}
.bar i{display:block;height:100%;border-radius:3px;background:var(--fill)}
.bar.full i{background:repeating-linear-gradient(-45deg,var(--full) 0 4px,var(--track) 4px 5px)}
.facts{display:grid;grid-template-columns:repeat(auto-fill,minmax(16rem,1fr));gap:.875rem 2rem}
.facts dt{font-size:.75rem;color:var(--muted)}
.notes{font-size:.8125rem;line-height:1.5;color:var(--muted);max-width:48rem}
.notes ol{counter-reset:note}
.notes li{counter-increment:note;padding-left:1.5rem;text-indent:-1.5rem}
.notes li::before{content:counter(note);display:inline-block;width:1.5rem;text-indent:0}
.notes li:target{color:var(--ink);background:var(--hover)}
.sentence{color:var(--muted)}
)";

constexpr char const* TABLES = R"(
table{border-collapse:collapse;width:100%;font-size:.8125rem;line-height:1.4}
caption{text-align:left;color:var(--muted);padding-bottom:.5rem}
th{font-weight:400;text-align:left}
th,td{padding:.3125rem 1.25rem .3125rem 0;vertical-align:top;border-top:1px solid var(--line)}
th:last-child,td:last-child{padding-right:0}
thead th{font-size:.6875rem;letter-spacing:.04em;color:var(--muted);border-top:0;
vertical-align:bottom;overflow-wrap:normal}
th[scope=row]{font-weight:600}
.number{text-align:right;white-space:nowrap}
.number .bar+*{display:inline-block;min-width:3.75rem}
.word{overflow-wrap:normal}
.list{width:20%}
.narrow{width:auto;justify-self:start;min-width:min(100%,28rem)}
.columns{display:grid;grid-template-columns:repeat(2,minmax(0,1fr));gap:1.5rem 3rem}
.columns .narrow{width:100%}
.line{display:block}
td .bar{width:3.5rem}
@media (hover:hover){tr:hover>*{background:var(--hover)}thead tr:hover>*{background:none}}
)";

constexpr char const* TREE = R"(
.tree figcaption{font-size:.8125rem;color:var(--muted);padding-bottom:.5rem}
.tree{max-width:44rem}
.tree svg{display:block;overflow:visible}
.tree figcaption+svg,.tree>svg+svg{margin-top:.25rem}
.tree text{font-size:13px;fill:var(--ink)}
.tree .root .name{font-weight:600}
.tree .type,.tree .details{fill:var(--muted);font-size:12px}
.tree .size{text-anchor:end}
.tree .short{display:none}
.tree .branch{fill:none;stroke:var(--branch);stroke-width:1}
.tree .disk,.tree .mount{fill:var(--fill)}
.tree .part,.tree .made{fill:var(--paper);stroke:var(--fill);stroke-width:1.5}
.tree .track{fill:var(--track)}
.tree .use .fill{fill:var(--fill)}
.tree .use .full{fill:none;stroke:var(--full);stroke-width:6;stroke-dasharray:4 1}
)";

constexpr char const* NARROW = R"(
@media screen and (max-width:64rem){
section{grid-template-columns:minmax(0,1fr)}
.glance{grid-template-columns:repeat(2,minmax(0,1fr));gap:1.25rem 1.5rem}
}
@media screen and (max-width:56rem){
.wide,.wide tbody,.wide tr,.wide th,.wide td{display:block;width:auto}
.wide caption{display:block}
.wide thead{position:absolute;width:1px;height:1px;overflow:hidden;clip-path:inset(50%)}
.wide tr{display:grid;grid-template-columns:repeat(auto-fill,minmax(6rem,1fr));gap:.25rem .5rem;
grid-auto-flow:row dense;
border-top:1px solid var(--line);padding:.625rem 0}
.wide th,.wide td{border:0;padding:0;text-align:left;white-space:normal}
.wide th[scope=row]{grid-column:1/-1;font-size:.875rem}
.wide td:empty{display:none}
.wide td.word{overflow-wrap:break-word}
.wide td:not(.word,.number),.wide td.long{grid-column:span 2}
.wide td::before{content:attr(data-label);display:block;font-size:.6875rem;letter-spacing:.04em;
color:var(--muted)}
.wide .bar{width:1.75rem;margin-right:.375rem}
.wide .bar+*{min-width:0}
.columns{grid-template-columns:minmax(0,1fr)}
}
@media screen and (max-width:32rem){
body{padding:0 1rem 3rem}
header{padding-top:1.75rem}
header .read{text-align:left}
h1{font-size:1.625rem}
#problems{margin:0 -1rem;padding:1rem}
.facts{grid-template-columns:minmax(0,1fr);gap:.375rem}
.facts div{display:grid;grid-template-columns:8.5rem minmax(0,1fr);gap:0 .75rem}
.facts dt{line-height:1.85}
.narrow{min-width:100%}
.narrow th,.narrow td{padding-right:.5rem}
.narrow thead th{letter-spacing:0}
.narrow td .bar{width:1.75rem;margin-right:.25rem}
.tree .details,.tree .long,.tree .use{display:none}
.tree .short{display:inline}
}
@media print{
@page{margin:14mm 13mm}
body{max-width:none;padding:0;font-size:9.5pt;print-color-adjust:exact;-webkit-print-color-adjust:exact}
header{padding:0 0 4mm}
nav{display:none}
a{color:inherit;text-decoration:none}
section{display:block;padding:4mm 0}
h2{padding-bottom:2mm;break-after:avoid}
.content{display:block}
.content>*+*{margin-top:4mm}
#problems{margin:0;padding:3mm 4mm}
table{font-size:8pt}
caption,thead{break-after:avoid}
tbody{break-before:avoid}
thead{display:table-header-group}
thead th{letter-spacing:0}
tr,.tree svg,.glance>div,.facts>div,li,.notes{break-inside:avoid}
.facts{grid-template-columns:repeat(3,minmax(0,1fr));gap:2mm 4mm}
th,td{padding-right:2mm}
.number{padding-right:3mm}
.columns{display:block}
.columns>*+*{margin-top:4mm}
.list{width:14%}
td .bar{width:2rem;margin-right:1mm}
.number .bar+*{min-width:2.75rem}
.tree figcaption{break-after:avoid}
}
)";

}

std::string htmlStyle()
{
    return std::string(COLORS) + PAGE + GLANCE + TABLES + TREE + NARROW;
}

}
