// Measures a picture in the page that shows it, uses it as a person does, and writes what is wrong,
// as JSON, into the page. Uses nothing of the page's own script.
'use strict';
window.wrong = [];
window.addEventListener('error', function (event) { window.wrong.push('script: ' + event.message); });
window.addEventListener('load', function () {
  var wrong = window.wrong, svg = document.querySelector('svg'), counts = {};
  function all(selector, within) { return Array.from((within || document).querySelectorAll(selector)); }
  function check(holds, text) { if (!holds && wrong.length < 40) wrong.push(text); }
  function box(element) { return element.getBoundingClientRect(); }
  function inside(a, b) {
    return a.left >= b.left - 0.5 && a.right <= b.right + 0.5 && a.top >= b.top - 0.5 && a.bottom <= b.bottom + 0.5;
  }
  function meet(a, b) {
    return a.left < b.right - 0.5 && b.left < a.right - 0.5 && a.top < b.bottom - 0.5 && b.top < a.bottom - 0.5;
  }
  // Letters reach from their ascenders to their descenders, a little less than their line.
  function letters(text) {
    var b = box(text), d = b.height * 0.12;
    return {left: b.left, right: b.right, top: b.top + d, bottom: b.bottom - d, of: text.textContent};
  }
  function noneMeet(boxes, what) {
    boxes.sort(function (a, b) { return a.top - b.top; });
    boxes.forEach(function (a, i) {
      for (var k = i + 1; k < boxes.length && boxes[k].top < a.bottom; ++k) {
        check(!meet(a, boxes[k]), what + ' overlap: ' + a.of + ' | ' + boxes[k].of);
      }
    });
  }
  function boxes(selector) {
    return all(selector).map(function (e) {
      var b = box(e), owner = e.parentNode;
      return {left: b.left, right: b.right, top: b.top, bottom: b.bottom,
              of: owner.getAttribute('aria-label') || owner.textContent};
    });
  }

  // Where everything is.
  all('text', svg).forEach(function (text) {
    var of = text.classList.contains('mark') ? text.parentNode.querySelector('.m')
      : text.classList.contains('number') ? text.parentNode.querySelector('.box')
      : text.closest('.device') ? text.closest('.device').querySelector('.row')
      : text.parentNode === svg || text.closest('.legend') ? svg.querySelector('.page') : text.parentNode.querySelector('.panel');
    check(of && inside(letters(text), box(of)), 'outside its box: ' + text.textContent);
  });
  noneMeet(all('text', svg).map(letters), 'texts');
  noneMeet(boxes('.panel'), 'panels');
  noneMeet(boxes('.frame'), 'changers');
  noneMeet(boxes('.row'), 'devices');
  noneMeet(boxes('.m').concat(boxes('use'), boxes('.number'), boxes('.bar'),
                              all('.name,.heading,.summary,.title,text:not([class])', svg).map(letters)), 'marks and texts');
  all('.device').forEach(function (device) {
    all('*', device).forEach(function (part) {
      check(inside(box(part), box(device.querySelector('.row'))) || part.tagName === 'title' || part.tagName === 'text',
            'outside its row: ' + part.outerHTML);
    });
  });
  all('.row').forEach(function (row) {
    check(inside(box(row), box(row.closest('[role=group]').querySelector('.panel'))), 'outside its bus');
  });

  // What can be read: contrast of each text with what is behind it (WCAG 2.1, 1.4.3).
  function luminance(colour) {
    var parts = colour.match(/[\d.]+/g).slice(0, 3).map(function (part) {
      var c = part / 255;
      return c <= 0.03928 ? c / 12.92 : Math.pow((c + 0.055) / 1.055, 2.4);
    });
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2];
  }
  var least = 99;
  all('text', svg).forEach(function (text) {
    var behind = [text.parentNode.querySelector('.m'), text.classList.contains('number') && text.parentNode.querySelector('.box'),
      text.closest('.device') && text.closest('.device').querySelector('.row'),
      text.closest('[role=group]') !== svg && text.closest('[role=group]').querySelector('.panel'),
      svg.querySelector('.page')].filter(function (e, i) {
        return e && getComputedStyle(e).fill !== 'none' && (i > 0 || text.classList.contains('mark'));
      })[0];
    var a = luminance(getComputedStyle(text).fill), b = luminance(getComputedStyle(behind).fill);
    var contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
    least = Math.min(least, contrast);
    check(contrast >= 4.5, 'contrast ' + contrast.toFixed(2) + ': ' + text.textContent);
  });
  counts.dark = matchMedia('(prefers-color-scheme: dark)').matches;
  counts.contrast = least;

  // What a person does. An SVG alone has its tips.
  var devices = all('.device');
  counts.devices = devices.length;
  devices.forEach(function (device) {
    check(device.getAttribute('role') === 'img' && device.getAttribute('aria-label'), 'has no name: ' + device.id);
  });
  check(performance.getEntriesByType('resource').length === 0, 'requests something');
  var find = document.getElementById('find');
  function type(text) { find.value = text; find.dispatchEvent(new Event('input')); return all('.device.hit'); }
  function press(element, key) {
    element.dispatchEvent(new KeyboardEvent('keydown', {key: key, bubbles: true, cancelable: true}));
  }
  if (find && devices.length) {
    check(all('.device title').length === 0, 'the tips of the browser stand before the facts');
    check(all('.device[tabindex="0"]').length === 1, 'not one stop for Tab');
    devices.forEach(function (device) {
      var number = device.dataset.number, serial = device.dataset.serial, nodes = device.dataset.nodes;
      if (number) {
        var hits = type(number);
        check(hits.includes(device) && hits.every(function (hit) { return hit.dataset.number === number; }), 'search: ' + number);
      }
      if (serial) check(type(serial.toLowerCase()).includes(device), 'search: ' + serial);
      if (nodes) check(type(nodes.split(' ')[0]).includes(device), 'search: ' + nodes);
    });
    check(type('no such device').length === 0 && document.getElementById('found').textContent === 'Nothing found', 'finds nothing');
    type('');
    check(all('.searching,.hit').length === 0, 'an empty search leaves something');
    devices.slice(0, 40).forEach(function (device) {
      device.querySelector('.row').dispatchEvent(new MouseEvent('mouseover', {bubbles: true}));
      var sets = (device.dataset.sets || '').split(' ').filter(Boolean), facts = document.getElementById('facts').textContent;
      var other = document.getElementById(device.dataset.other);
      sets = sets.concat((other && other.dataset.sets || '').split(' ').filter(Boolean));
      devices.forEach(function (one) {
        var shares = one === device || one === other || (one.dataset.sets || '').split(' ').some(function (set) { return sets.includes(set); });
        check(one.classList.contains('lit') === shares, device.id + ' lights ' + one.id + ' wrongly');
      });
      check(facts.includes(device.dataset.serial || ''), 'facts of ' + device.id);
    });
    svg.dispatchEvent(new MouseEvent('mouseleave'));
    check(all('.lit').length === 0, 'lit without a pointer');
    // A page in the background gets no focusin of its own.
    devices[0].dispatchEvent(new FocusEvent('focusin', {bubbles: true}));
    check(devices[0].classList.contains('here'), 'focus lights nothing');
    devices[0].focus();
    press(devices[0], 'ArrowDown');
    check(document.activeElement === (devices[1] || devices[0]), 'arrow down');
    press(document.activeElement, 'End');
    check(document.activeElement === devices[devices.length - 1], 'end');
    check(document.activeElement.classList.contains('here') && document.getElementById('facts').textContent, 'focus tells nothing');
    var entries = all('.legend[data-sets]'), dead = all('.legend:not([data-sets])');
    counts.legend = entries.length;
    check(dead.every(function (one) { return !one.hasAttribute('tabindex') && !one.hasAttribute('role'); }), 'the legend has a dead button');
    check(all('.legend[tabindex="0"]').length === Math.min(entries.length, 1), 'not one stop for Tab in the legend');
    function lights(set, when) {
      devices.forEach(function (one) {
        check(one.classList.contains('lit') === (one.dataset.sets || '').split(' ').includes(set), when + ': ' + set + ' and ' + one.id);
      });
    }
    entries.forEach(function (entry, n) {
      var set = entry.dataset.sets, facts = document.getElementById('facts');
      check(entry.getAttribute('role') === 'button' && /\w+.*: ./.test(entry.getAttribute('aria-label')), 'has no name: ' + set);
      if (n === 0) entry.focus();
      check(document.activeElement === entry, 'the keys do not reach ' + set);
      if (n === 0) entry.dispatchEvent(new FocusEvent('focusin', {bubbles: true}));
      lights(set, 'focus');
      check(facts.querySelectorAll('dt').length === all('.device.lit').length, 'does not tell whom it lights: ' + set);
      check(document.getElementById('head').textContent === entry.getAttribute('aria-label'), 'does not tell what it is: ' + set);
      press(entry, n % 2 ? ' ' : 'Enter');
      check(all('[aria-pressed=true]', svg).length === 1 && entry.getAttribute('aria-pressed') === 'true', 'is not kept: ' + set);
      entry.blur();
      entry.dispatchEvent(new FocusEvent('focusout', {bubbles: true}));
      lights(set, 'kept');
      entry.focus();
      if (n % 2) press(entry, 'Enter'); else press(document.body, 'Escape');
      check(all('[aria-pressed=true]', svg).length === 0, 'is kept for ever: ' + set);
      entry.blur();
      entry.dispatchEvent(new FocusEvent('focusout', {bubbles: true}));
      check(all('.lit').length === 0, 'stays lit: ' + set);
      entry.focus();
      press(entry, 'ArrowRight');
    });
    if (entries.length) {
      press(document.activeElement, 'Home');
      check(document.activeElement === entries[0], 'home in the legend');
      entries[0].querySelector('text').dispatchEvent(new MouseEvent('click', {bubbles: true}));
      check(entries[0].getAttribute('aria-pressed') === 'true', 'a click does not keep');
      press(document.body, 'Escape');
    }
    press(document.body, '/');
    check(document.activeElement === find, '/ does not find');
    // Left for the screenshot: a device with something to light.
    (devices.filter(function (device) { return device.dataset.sets; })[1] || devices[0]).focus();
    document.querySelector('main').scrollTo(0, 0);
  }
  var result = document.createElement('pre');
  result.id = 'measured';
  result.hidden = true;
  result.textContent = JSON.stringify({wrong: wrong, counts: counts});
  document.body.append(result);
});
