#pragma once
// The style sheet of a report's page, for screens, phones, light and dark themes, and paper.

namespace zlk {

inline constexpr char reportStyle[] = R"css(
:root {
    color-scheme: light dark;
    --paper: #f6f6f4; --card: #fff; --ink: #1c1c1e; --faint: #63636a; --line: #dcdcd8;
    --good: #17693a; --good-paper: #e3f3e8; --bad: #a4161a; --bad-paper: #fde8e7;
    --empty: #ececea;
}
@media (prefers-color-scheme: dark) {
    :root {
        --paper: #161618; --card: #212124; --ink: #ededf0; --faint: #a2a2aa; --line: #38383d;
        --good: #7fd6a0; --good-paper: #16301f; --bad: #ff9d97; --bad-paper: #3d1a1b;
        --empty: #2d2d31;
    }
}
* { box-sizing: border-box; margin: 0; }
body {
    max-width: 80rem; margin: auto; padding: 1.5rem;
    background: var(--paper); color: var(--ink);
    font: 0.9rem/1.45 system-ui, sans-serif; overflow-wrap: anywhere;
}
h1 { font-size: 1.6rem; line-height: 1.2; }
h2 { font-size: 1rem; margin-bottom: 0.5rem; }
header, section, dl { margin-bottom: 1.5rem; }
ul { list-style: none; padding: 0; }
.verdict { margin-top: 0.75rem; padding: 0.6rem 0.9rem; border-radius: 0.5rem; font-weight: 600; }
.good { background: var(--good-paper); color: var(--good); }
.bad { background: var(--bad-paper); color: var(--bad); }
dl { display: grid; grid-template-columns: repeat(auto-fill, minmax(14rem, 1fr)); gap: 0.9rem; }
dt, footer, .place, .note, .sum { color: var(--faint); }
dt { font-size: 0.75rem; }
.folders { display: grid; grid-template-columns: repeat(auto-fill, minmax(20rem, 1fr)); gap: 0.75rem; }
.folders li, figure { background: var(--card); border: 1px solid var(--line); border-radius: 0.5rem; }
.folders li, figcaption { padding: 0.7rem 0.8rem; }
.folder, .name { font-weight: 600; }
.reasons li, .reason { color: var(--bad); }
main { display: grid; grid-template-columns: repeat(auto-fill, minmax(15rem, 1fr)); gap: 0.75rem; }
/* What is out of sight costs no layout: a card may have 100,000 files. */
figure { overflow: hidden; break-inside: avoid; content-visibility: auto; contain-intrinsic-size: auto 18rem; }
figure.amiss { border-color: var(--bad); }
figure img, .box { display: block; width: 100%; height: 10rem; background: var(--empty); }
figure img { object-fit: contain; }
.box { display: grid; place-items: center; color: var(--faint); font-size: 1.3rem; letter-spacing: 0.08em; }
.marks { display: flex; flex-wrap: wrap; gap: 0.3rem; margin: 0.35rem 0; }
.marks span { padding: 0 0.4rem; border-radius: 1rem; font-size: 0.68rem; background: var(--empty); }
.marks .proof { background: var(--good-paper); color: var(--good); }
.amiss .outcome { background: var(--bad-paper); color: var(--bad); }
.place, .note, figcaption p:not([class]) { font-size: 0.8rem; }
.sum { font: 0.66rem/1.4 ui-monospace, monospace; }
footer { margin-top: 1.5rem; font-size: 0.8rem; }
@media (max-width: 30rem) {
    body { padding: 0.9rem; }
    main, .folders { grid-template-columns: 1fr; }
    dl { grid-template-columns: 1fr 1fr; }
    figure { display: grid; grid-template-columns: 7rem 1fr; }
    figure img, .box { height: 100%; min-height: 7rem; }
}
@media print {
    :root {
        --paper: #fff; --card: #fff; --ink: #000; --faint: #444; --line: #bbb; --empty: #eee;
        --good: #000; --good-paper: #eee; --bad: #a00; --bad-paper: #fff;
    }
    body { max-width: none; padding: 0; font-size: 0.75rem; }
    main { grid-template-columns: repeat(auto-fill, minmax(11rem, 1fr)); }
    * { print-color-adjust: exact; }
}
)css";

}  // namespace zlk
