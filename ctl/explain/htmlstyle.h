// How the page looks: system fonts, both schemes, wide enough for a timeline, narrow enough for print.
#pragma once

namespace velmorin {

constexpr char kHtmlStyle[] = R"css(
:root { color-scheme: light dark; --paper:#fbfbf9; --card:#fff; --ink:#1c2430; --soft:#5d6877; --rule:#dfe3e8;
  --one:#3b78d8; --two:#d98c00; --three:#cf3b3b; --good:#1d8a4e; --bad:#c93434; --none:#6b7686;
  --link:#9aa7b8; --start:#2f9aa0; --erase:#8a6fd1; --data:#3b78d8; --check:#7f9a2b; --reset:#c2588f; --inside:#fff; }
@media (prefers-color-scheme: dark) { :root { --paper:#14181e; --card:#1c2229; --ink:#e6eaf0; --soft:#9aa6b5; --rule:#323b46;
  --one:#6ea2f5; --two:#f0ad3d; --three:#f0716f; --good:#4cc283; --bad:#f0716f; --none:#98a4b3;
  --link:#6d7b8d; --start:#4fb8be; --erase:#a890ea; --data:#6ea2f5; --check:#a9c455; --reset:#e283b3; --inside:#10151b; } }
* { box-sizing:border-box }
body { margin:0; padding:2.2rem 1.2rem 4rem; background:var(--paper); color:var(--ink);
  font:15px/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Helvetica Neue", Arial, sans-serif; }
main { max-width:1060px; margin:0 auto }
h1 { font-size:1.45rem; margin:0 0 .2rem; overflow-wrap:anywhere } h2 { font-size:1.15rem; margin:0 }
p { margin:.3rem 0 } .soft { color:var(--soft) }
section { background:var(--card); border:1px solid var(--rule); border-radius:10px; padding:1.2rem 1.4rem 1.4rem; margin-top:1.4rem }
header.update { display:flex; flex-wrap:wrap; gap:.3rem .9rem; align-items:baseline }
.badge { font-weight:600; padding:.05rem .65rem; border-radius:99px; border:1.5px solid currentColor; font-size:.9rem }
.badge.good { color:var(--good) } .badge.bad { color:var(--bad) } .badge.none { color:var(--none) }
ul.diagnoses { list-style:none; margin:.9rem 0; padding:0 }
ul.diagnoses li { padding:.45rem 0 .45rem .9rem; border-left:3px solid var(--rule); margin:.35rem 0 }
ul.diagnoses li:first-child { border-color:var(--bad) } ul.diagnoses li.success:first-child { border-color:var(--good) }
.id { font-weight:600; margin-right:.4rem } .evidence { color:var(--soft); font-size:.88rem; white-space:nowrap }
.scroll { overflow-x:auto }
table { border-collapse:collapse; font-variant-numeric:tabular-nums; margin:.8rem 0 0; font-size:.92rem }
th, td { text-align:right; padding:.22rem .8rem; border-bottom:1px solid var(--rule) }
th:first-child, td:first-child { text-align:left; padding-left:0 } th { color:var(--soft); font-weight:500 }
details { margin-top:1rem } summary { cursor:pointer; color:var(--soft) }
.timeline { width:100%; height:auto; display:block; margin-top:.6rem } .timeline text { font:12px system-ui, sans-serif; fill:var(--soft) }
.timeline .inside { fill:var(--inside); font-weight:600 } .grid { stroke:var(--rule); stroke-width:1 } .base { stroke:var(--soft); stroke-width:1 }
.phase-link { fill:var(--link) } .phase-start { fill:var(--start) } .phase-erase { fill:var(--erase) }
.phase-data { fill:var(--data) } .phase-check { fill:var(--check) } .phase-reset { fill:var(--reset) }
.starts1 { fill:var(--one) } .starts2 { fill:var(--two) } .starts3 { fill:var(--three) }
.group.open { fill-opacity:.35; stroke:var(--three); stroke-width:1.2 }
.rate { fill:none; stroke:var(--one); stroke-width:1.8; stroke-linejoin:round }
.mark.resend { fill:var(--two) } .mark.lost { fill:var(--three) } .mark .cross { stroke:var(--three); stroke-width:2; fill:none }
.mark line { stroke-width:1.4; stroke-dasharray:4 3 } .mark.link { fill:var(--erase) } .mark.link line { stroke:var(--erase) }
.mark.end { fill:var(--good) } .mark.end line { stroke:var(--good) } .mark.end.fault { fill:var(--bad) } .mark.end.fault line { stroke:var(--bad) }
.legend { display:flex; flex-wrap:wrap; gap:.15rem 1.1rem; color:var(--soft); font-size:.86rem; margin-top:.3rem }
.legend svg { width:13px; height:13px; vertical-align:-2px; margin-right:.35rem }
@media print { body { padding:0 } section { break-inside:avoid } }
)css";

}  // namespace velmorin
