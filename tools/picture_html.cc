// The picture as one HTML file.
#include <algorithm>
#include <string>
#include <string_view>

#include "markup.h"
#include "picture.h"
#include "picture_parts.h"

namespace devprep::tool {
namespace {

constexpr std::string_view kStyle = R"(
:root{color-scheme:light dark;--bg:#fff;--fg:#1a1f26;--soft:#4d5763;--edge:#b8c0cc;--blue:#0b57d0}
@media (prefers-color-scheme:dark){:root{--bg:#0e1318;--fg:#e8edf2;--soft:#a9b4c0;--edge:#4a5666;--blue:#8ab8ff}}
body{margin:0;background:var(--bg);color:var(--fg);height:100vh;display:grid;
font:13px "Segoe UI","Helvetica Neue",Arial,"Liberation Sans","DejaVu Sans",sans-serif;
grid-template:auto minmax(0,1fr)/minmax(0,1fr) 300px}
header{grid-column:1/3;display:flex;gap:12px;align-items:center;padding:8px 24px;border-bottom:1px solid var(--edge)}
input,button{font:inherit;padding:5px 8px;color:inherit;background:var(--bg);border:1px solid var(--edge);border-radius:4px}
input{width:17em}output,.hint{color:var(--soft)}.hint{margin-left:auto}
:focus-visible{outline:2px solid var(--blue);outline-offset:1px}
main{overflow:auto}main svg{display:block}main.fit svg{width:100%;height:auto}
aside{border-left:1px solid var(--edge);padding:12px 16px;overflow:auto}
aside h2{font-size:14px;margin:0 0 8px}dl{margin:0}dt{color:var(--soft);font-size:11px;margin-top:7px}
dd{margin:0;overflow-wrap:anywhere}
.device{cursor:default;outline:none}
.lighting .device:not(.lit),.searching .device:not(.hit){opacity:.38}
.lighting.searching .device.lit{opacity:1}
.device.lit .row{stroke:var(--focus);stroke-width:1.5;stroke-dasharray:none}
.device.here .row,.device:focus .row{stroke:var(--focus);stroke-width:3;stroke-dasharray:none}
.device.hit .box{stroke:var(--focus);stroke-width:2}
.legend[data-sets]{cursor:pointer;outline:none}
.legend:focus .m,.legend.lit .m,.legend[aria-pressed=true] .m{stroke:var(--focus);stroke-width:2}
.legend:focus text:not(.mark),.legend[aria-pressed=true] text:not(.mark){fill:var(--focus);text-decoration:underline}
.lighting .arrow:not(.lit){opacity:.15}.arrow.lit{stroke-width:3;opacity:1}
@media (max-width:700px){body{grid-template:auto minmax(0,1fr) 35vh/1fr}header{grid-column:1;flex-wrap:wrap}
aside{border-left:0;border-top:1px solid var(--edge)}.hint{display:none}}
@media print{header,aside{display:none}body{display:block;height:auto}main{overflow:visible}
main svg,main.fit svg{width:100%;height:auto;max-height:98vh}
.device,.lighting .device:not(.lit),.searching .device:not(.hit),.arrow,.lighting .arrow:not(.lit){opacity:1}}
)";

constexpr std::string_view kScript = R"(
'use strict';
(function () {
  var svg = document.querySelector('main svg'), main = document.querySelector('main');
  var find = document.getElementById('find'), found = document.getElementById('found');
  var head = document.getElementById('head'), facts = document.getElementById('facts');
  var devices = Array.from(svg.querySelectorAll('.device'));
  var arrows = Array.from(svg.querySelectorAll('.arrow'));
  var legend = Array.from(svg.querySelectorAll('.legend[data-sets]'));
  var hits = [], next = 0, kept = null;
  devices.forEach(function (device) {
    // Told beside the picture, so that no tip of the browser covers it.
    var title = device.querySelector('title');
    device.facts = title.textContent.split('\n').map(function (fact) {
      var at = fact.indexOf(': ');
      return [fact.slice(0, at), fact.slice(at + 2)];
    });
    title.remove();
    device.sets = (device.dataset.sets || '').split(' ').filter(Boolean);
    device.caption = device.getAttribute('aria-label').split(',')[0];
  });
  legend.forEach(function (entry) {
    entry.caption = entry.getAttribute('aria-label');
    entry.sets = [entry.dataset.sets];
    entry.facts = devices.filter(function (device) {
      return device.sets.includes(entry.dataset.sets);
    }).map(function (device) {
      return [device.caption, device.getAttribute('aria-label').slice(device.caption.length + 2)];
    });
    entry.setAttribute('role', 'button');
    entry.setAttribute('aria-pressed', 'false');
  });
  // Each is one stop of Tab; the arrow keys go from one to the next.
  [devices, legend].forEach(function (list) {
    list.forEach(function (one, n) {
      one.setAttribute('aria-describedby', 'facts');
      one.setAttribute('tabindex', n === 0 ? '0' : '-1');
      one.list = list;
    });
  });

  function tell(one) {
    head.textContent = one.caption;
    facts.textContent = '';
    one.facts.forEach(function (fact) {
      var label = document.createElement('dt'), value = document.createElement('dd');
      label.textContent = fact[0];
      value.textContent = fact[1];
      facts.append(label, value);
    });
  }
  function light(sets, here) {
    var other = here && here.dataset.other;
    var otherSets = other ? document.getElementById(other).sets : [];
    svg.classList.toggle('lighting', sets.length > 0 || !!here);
    devices.forEach(function (device) {
      var shares = device.sets.some(function (set) { return sets.includes(set) || otherSets.includes(set); });
      device.classList.toggle('here', device === here);
      device.classList.toggle('lit', device === here || device.id === other || shares);
    });
    arrows.forEach(function (arrow) {
      arrow.classList.toggle('lit', !!here && (arrow.dataset.from === here.id || arrow.dataset.to === here.id));
    });
    legend.forEach(function (entry) { entry.classList.toggle('lit', sets.includes(entry.dataset.sets)); });
  }
  function show(one) { tell(one); light(one.sets, one.list === devices ? one : null); }
  function dim() { light(kept ? kept.sets : [], null); }
  function rest() {
    var focused = document.activeElement;
    if (focused && focused.facts) show(focused); else dim();
  }
  function keep(entry) {
    kept = entry;
    legend.forEach(function (one) { one.setAttribute('aria-pressed', String(one === kept)); });
    rest();
  }
  function move(to) {
    to.list.forEach(function (one) { one.setAttribute('tabindex', one === to ? '0' : '-1'); });
    to.focus({preventScroll: true});
    show(to);  // A page in the background gets no focusin.
    to.scrollIntoView({block: 'nearest', inline: 'nearest'});
  }

  svg.addEventListener('mouseover', function (event) {
    var one = event.target.closest('.device, .legend[data-sets]');
    if (one) show(one); else rest();
  });
  svg.addEventListener('mouseleave', rest);
  svg.addEventListener('click', function (event) {
    var one = event.target.closest('.device, .legend[data-sets]');
    if (one) move(one);
    if (one && one.list === legend) keep(one === kept ? null : one);
  });
  svg.addEventListener('focusin', function (event) { if (event.target.facts) show(event.target); });
  svg.addEventListener('focusout', dim);
  svg.addEventListener('keydown', function (event) {
    var one = document.activeElement, list = one.list, to = null;
    if (!list) return;
    var at = list.indexOf(one);
    if (event.key === 'ArrowDown' || event.key === 'ArrowRight') to = list[at + 1];
    if (event.key === 'ArrowUp' || event.key === 'ArrowLeft') to = list[at - 1];
    if (event.key === 'Home') to = list[0];
    if (event.key === 'End') to = list[list.length - 1];
    if (to) { event.preventDefault(); move(to); }
    if (list === legend && (event.key === 'Enter' || event.key === ' ')) {
      event.preventDefault();
      keep(one === kept ? null : one);
    }
  });

  function search() {
    var text = find.value.trim().toLowerCase();
    var number = devices.filter(function (device) { return device.dataset.number === text; });
    hits = !text ? [] : number.length ? number : devices.filter(function (device) {
      return ((device.dataset.serial || '') + ' ' + (device.dataset.nodes || '')).toLowerCase().includes(text);
    });
    next = 0;
    svg.classList.toggle('searching', text !== '');
    devices.forEach(function (device) { device.classList.toggle('hit', hits.includes(device)); });
    found.textContent = !text ? '' : hits.length === 0 ? 'Nothing found' :
      hits.length + ' found; Enter goes to ' + (hits.length === 1 ? 'it' : 'each');
    if (hits.length) { hits[0].scrollIntoView({block: 'nearest', inline: 'nearest'}); tell(hits[0]); }
  }
  find.addEventListener('input', search);
  find.addEventListener('keydown', function (event) {
    if (event.key === 'Escape') { find.value = ''; search(); }
    if (event.key !== 'Enter' || !hits.length) return;
    event.preventDefault();
    if (hits.length === 1) { move(hits[0]); return; }
    hits[next].scrollIntoView({block: 'center', inline: 'center'});
    show(hits[next]);
    next = (next + 1) % hits.length;
  });
  document.addEventListener('keydown', function (event) {
    if (event.key === '/' && document.activeElement !== find) { event.preventDefault(); find.focus(); find.select(); }
    if (event.key === 'Escape' && kept) keep(null);
  });
  var fit = document.getElementById('fit');
  fit.addEventListener('click', function () {
    fit.setAttribute('aria-pressed', String(main.classList.toggle('fit')));
  });
}());
)";

bool EndsIn(const std::string& name, const std::string& ending) {
  return name.size() > ending.size() &&
         std::equal(ending.rbegin(), ending.rend(), name.rbegin(),
                    [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + 32 : b); });
}

}  // namespace

bool IsHtmlName(const std::string& name) { return EndsIn(name, ".html"); }

std::string CheckPictureName(const std::string& name) {
  if (name == "-" || EndsIn(name, ".svg") || EndsIn(name, ".html")) return "";
  return name + ": a picture's name ends in .svg or .html";
}

std::string PicturePage(const std::string& title, const std::string& svg, bool landscape,
                        const char* searched) {
  Markup html;
  html.Raw("<!DOCTYPE html>\n");
  html.Open("html").With("lang", "en").With("data-picture", "devprep");
  html.Raw("<head><meta charset=\"utf-8\">");
  // Nothing is fetched, whatever the texts of devices may hold.
  html.Raw(
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
      "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">");
  html.Open("title").Text(title).Close();
  html.Open("style").Raw(kStyle);
  html.Raw(landscape ? "@page{size:A4 landscape;margin:8mm}"
                     : "@page{size:A4 portrait;margin:8mm}");
  html.Close().Raw("</head><body>\n");
  html.Raw(
      "<header><label for=\"find\">Find</label>"
      "<input id=\"find\" type=\"search\" placeholder=\"");
  html.Raw(searched);
  html.Raw(
      "\" autocomplete=\"off\" spellcheck=\"false\"><output id=\"found\" role=\"status\"></output>"
      "<span class=\"hint\">/ finds; Tab and arrow keys go through devices and legend, Enter keeps "
      "one of it lit</span>"
      "<button id=\"fit\" type=\"button\" aria-pressed=\"false\">Fit to width</button></header>\n"
      "<main>");
  html.Raw(svg);
  html.Raw(
      "</main>\n<aside aria-label=\"What the pointer or the focus is at\">"
      "<h2 id=\"head\">Point at a device</h2><dl id=\"facts\"></dl></aside>\n<script>");
  html.Raw(kScript).Raw("</script></body>").Close().Line();
  return html.Result();
}

std::string PictureHtml(const PictureModel& model, const Picture& picture) {
  return PicturePage(model.title, PictureSvg(model, picture), picture.width > picture.height,
                     "number, serial number, node");
}

}  // namespace devprep::tool
