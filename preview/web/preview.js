// The preview page: builds the effect panel from /api/panel, sends each
// change to /api/param, and follows the session's renders through the
// events the server pushes.
'use strict';

const FLAG_COLLAPSED = 1 << 5;   // group starts collapsed
const UI_DISABLED = 1 << 5;      // control greyed out
const DISPLAY_PERCENT = 1 << 0;  // slider shown in percent

let generation = 0;
let panel = null;
const controls = new Map(); // host index -> {row, set(value)}

function el(tag, attrs, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs || {})) {
    if (k === 'class') e.className = v; else e.setAttribute(k, v);
  }
  for (const c of children) e.append(c);
  return e;
}

function send(index, value) {
  fetch('/api/param', {method: 'POST', headers: {'Content-Type': 'application/json'},
                       body: JSON.stringify({index: index, value: String(value)})})
    .then(r => r.ok ? null : r.json().then(j => showStatus(j.error, true)));
}

function showStatus(text, bad) {
  const s = document.getElementById('status');
  s.textContent = text || '';
  s.className = bad ? 'error' : '';
}

function hex(c) { return Math.round(Math.min(1, Math.max(0, c)) * 255).toString(16).padStart(2, '0'); }

function slider(p) {
  const percent = (p.display_flags & DISPLAY_PERCENT) !== 0;
  const range = el('input', {type: 'range', min: p.slider_min, max: p.slider_max,
                             step: Math.pow(10, -(p.precision || 0)), 'data-uniform': p.uniform});
  const number = el('input', {type: 'number', min: p.valid_min, max: p.valid_max,
                              step: Math.pow(10, -(p.precision || 0))});
  const unit = el('span', {}, percent ? '%' : '');
  range.addEventListener('input', () => { number.value = range.value; send(p.host_index, range.value); });
  number.addEventListener('change', () => { range.value = number.value; send(p.host_index, number.value); });
  const box = el('span', {}, range, number, unit);
  return {input: box, set: v => {
    if (document.activeElement !== range) range.value = v;
    if (document.activeElement !== number) number.value = Number(v).toFixed(p.precision || 0);
  }, focus: [range, number]};
}

function control(p) {
  switch (p.type) {
  case 'FLOAT_SLIDER': return slider(p);
  case 'CHECKBOX': {
    const box = el('input', {type: 'checkbox', 'data-uniform': p.uniform});
    box.addEventListener('change', () => send(p.host_index, box.checked ? 'true' : 'false'));
    return {input: el('label', {}, box, ' ' + (p.nameptr || '')), set: v => { box.checked = !!v; }, focus: [box]};
  }
  case 'POPUP': {
    const select = el('select', {'data-uniform': p.uniform});
    (p.names || '').split('|').slice(0, p.num_choices).forEach((t, i) =>
      select.append(el('option', {value: String(i + 1)}, t)));
    select.addEventListener('change', () =>
      send(p.host_index, select.options[select.selectedIndex].textContent));
    return {input: select, set: v => { select.value = String(v); }, focus: [select]};
  }
  case 'COLOR': {
    const pick = el('input', {type: 'color', 'data-uniform': p.uniform});
    pick.addEventListener('input', () => {
      const c = [1, 3, 5].map(i => parseInt(pick.value.substr(i, 2), 16) / 255);
      send(p.host_index, c.join(','));
    });
    return {input: pick, set: v => { pick.value = '#' + v.map(hex).join(''); }, focus: [pick]};
  }
  case 'ANGLE': {
    const deg = el('input', {type: 'number', step: '0.1', 'data-uniform': p.uniform});
    deg.addEventListener('change', () => send(p.host_index, deg.value));
    return {input: el('span', {}, deg, '°'), set: v => { deg.value = v; }, focus: [deg]};
  }
  case 'POINT': {
    const x = el('input', {type: 'number', step: '1', 'data-uniform': p.uniform});
    const y = el('input', {type: 'number', step: '1'});
    const post = () => send(p.host_index, x.value + ',' + y.value);
    x.addEventListener('change', post);
    y.addEventListener('change', post);
    return {input: el('span', {}, 'x ', x, ' y ', y), set: v => { x.value = v[0]; y.value = v[1]; },
            focus: [x, y], point: true, x: x, y: y, post: post};
  }
  case 'LAYER': {
    const select = el('select', {'data-uniform': p.uniform});
    for (const label of (panel && panel.layer_choices) || ['input', 'none'])
      select.append(el('option', {value: label}, label));
    select.addEventListener('change', () => send(p.host_index, select.value));
    return {input: select, set: v => { select.value = v; }, focus: [select]};
  }
  default: return null;
  }
}

function build(p) {
  document.getElementById('title').textContent = p.effect || 'Effect';
  const root = document.getElementById('controls');
  root.textContent = '';
  controls.clear();
  const stack = [root];
  for (const q of p.params) {
    const parent = stack[stack.length - 1];
    if (q.type === 'GROUP_START') {
      const d = el('details', {'data-uniform': q.uniform}, el('summary', {}, q.name));
      d.open = (q.flags & FLAG_COLLAPSED) === 0;
      parent.append(d);
      stack.push(d);
      controls.set(q.host_index, {row: d, set: () => {}, focus: []});
      continue;
    }
    if (q.type === 'GROUP_END') {
      if (stack.length > 1) stack.pop();
      continue;
    }
    const c = control(q);
    if (!c) continue;
    const label = el('span', {}, q.name);
    c.row = el('div', {class: 'control'}, label, c.input);
    c.label = label;
    parent.append(c.row);
    controls.set(q.host_index, c);
    if (c.point) pointTarget = c;
  }
}

function update(p) {
  for (const q of p.params) {
    const c = controls.get(q.host_index);
    if (!c) continue;
    if (q.current !== null && q.current !== undefined) c.set(q.current);
    const disabled = (q.current_ui_flags & UI_DISABLED) !== 0;
    c.row.classList.toggle('disabled', disabled);
    for (const f of c.focus) f.disabled = disabled;
    c.row.hidden = !!q.hidden;
    if (c.label && q.stream_name) c.label.textContent = q.stream_name;
  }
  showStatus(p.error, !!p.error);
}

let pointTarget = null;
const frame = document.getElementById('frame');

function framePixel(ev) {
  const r = frame.getBoundingClientRect();
  // In the frame's own pixels: the image may come scaled to the window.
  const w = (panel && panel.width) || frame.naturalWidth, h = (panel && panel.height) || frame.naturalHeight;
  return [Math.floor((ev.clientX - r.left) * w / r.width), Math.floor((ev.clientY - r.top) * h / r.height)];
}

// The pixel under the pointer, read from the shown frame: 8-bit codes and
// the same as floats.
const sampler = document.createElement('canvas');
let sampled = -1;
function pixelText(x, y) {
  if (!frame.naturalWidth) return '';
  const g = sampler.getContext('2d', {willReadFrequently: true});
  if (sampled !== generation) {
    sampler.width = frame.naturalWidth;
    sampler.height = frame.naturalHeight;
    g.drawImage(frame, 0, 0);
    sampled = generation;
  }
  const sx = Math.floor(x * frame.naturalWidth / ((panel && panel.width) || frame.naturalWidth));
  const sy = Math.floor(y * frame.naturalHeight / ((panel && panel.height) || frame.naturalHeight));
  const v = g.getImageData(sx, sy, 1, 1).data;
  return 'RGBA ' + Array.from(v).join(' ') + '  (' + Array.from(v).map(c => (c / 255).toFixed(3)).join(' ') + ')';
}

let dragging = false;
frame.addEventListener('mousedown', ev => { if (pointTarget) { dragging = true; movePoint(ev); } ev.preventDefault(); });
window.addEventListener('mouseup', () => { dragging = false; });
frame.addEventListener('mousemove', ev => {
  const [x, y] = framePixel(ev);
  document.getElementById('readout').textContent = 'x ' + x + ' y ' + y + '  ' + pixelText(x, y);
  if (dragging) movePoint(ev);
});
function movePoint(ev) {
  const [x, y] = framePixel(ev);
  pointTarget.x.value = x;
  pointTarget.y.value = y;
  pointTarget.post();
}

document.getElementById('actual').addEventListener('change', ev => {
  document.getElementById('stage').classList.toggle('actual', ev.target.checked);
  if (generation) frame.src = frameUrl();
});

// Time: the slider seeks; play steps one frame at --fps, and a frame not
// yet rendered is replaced by the next one (the server keeps the newest).
const timeSlider = document.getElementById('time');
let playing = null;
function seek(t) {
  timeSlider.value = t;
  document.getElementById('clock').textContent = Number(t).toFixed(3) + ' s';
  fetch('/api/time', {method: 'POST', headers: {'Content-Type': 'application/json'},
                      body: JSON.stringify({seconds: Number(t)})});
}
timeSlider.addEventListener('input', () => seek(timeSlider.value));
document.getElementById('play').addEventListener('click', ev => {
  if (playing) {
    clearInterval(playing);
    playing = null;
    ev.target.textContent = 'play';
    return;
  }
  const fps = (panel && panel.fps) || 30;
  timeSlider.step = 1 / fps;
  playing = setInterval(() => {
    let t = Number(timeSlider.value) + 1 / fps;
    if (t > Number(timeSlider.max)) t = 0;
    seek(t);
  }, 1000 / fps);
  ev.target.textContent = 'pause';
});

// Large frames are asked for at the width they are shown at, unless 1:1.
function frameUrl() {
  const actual = document.getElementById('actual').checked;
  const width = Math.ceil(document.getElementById('stage').clientWidth * (window.devicePixelRatio || 1));
  return '/api/frame.png?g=' + generation + (actual || !width ? '' : '&w=' + width);
}

// The server pushes events (/api/events): "panel" after a reload, "build"
// when a build fails or is fixed, "frame" after a render, "busy" while a
// render runs long. Each but "busy" sends the page for the panel; a request
// still under way takes the newest state when it ends.
let asking = false, askAgain = false;
function refresh() {
  if (asking) { askAgain = true; return; }
  asking = true;
  fetch('/api/panel').then(r => r.json()).then(p => {
    if (!panel || p.reloads !== panel.reloads) {
      const reloaded = !!panel;
      panel = p;
      build(p);
      if (reloaded) loadDiagnostics();
      generation = -1; // the rebuilt controls take their values below
    }
    panel = p;
    fitTime(p);
    if (p.generation !== generation) {
      generation = p.generation;
      frame.src = frameUrl();
      frame.dataset.generation = String(generation);
      update(p);
    }
    showBuildLog(p);
  }).catch(() => showStatus('the preview is not answering', true))
    .finally(() => {
      asking = false;
      if (askAgain) { askAgain = false; refresh(); }
    });
}

// A video input: the slider spans the clip in steps of one of its frames,
// and the clock shows the time of the frame on screen.
function fitTime(p) {
  if (!p.video) return;
  const step = 1 / (p.fps || 30);
  timeSlider.step = step;
  if (p.video.duration > 0) timeSlider.max = Math.max(0, p.video.duration - step);
  if (!playing && document.activeElement !== timeSlider)
    document.getElementById('clock').textContent = Number(p.seconds).toFixed(3) + ' s';
}

function listen() {
  const events = new EventSource('/api/events');
  for (const kind of ['panel', 'build', 'frame']) events.addEventListener(kind, refresh);
  events.addEventListener('busy', ev => {
    document.getElementById('busy').hidden = !JSON.parse(ev.data).busy;
  });
  events.addEventListener('open', () => showStatus(panel && panel.error, !!(panel && panel.error)));
  events.addEventListener('error', () => {
    if (events.readyState !== EventSource.OPEN) showStatus('the preview is not answering', true);
  });
}

function loadDiagnostics() {
  fetch('/api/diagnostics').then(r => r.json()).then(d => {
    const list = document.getElementById('diagnostics');
    list.textContent = '';
    for (const x of d.diagnostics)
      list.append(el('li', {class: x.severity}, 'line ' + x.line + ': ' + x.severity + ': ' + x.message));
  });
}

// A failed build: the headline names the pass, and each message points at
// its line of the description file (the last good frame stays on screen).
function showBuildLog(p) {
  const log = document.getElementById('buildlog');
  log.hidden = !p.build_log;
  log.textContent = p.build_log ? p.build_failure + ':\n' + p.build_log : '';
  log.dataset.pass = p.build_log ? String(p.failed_pass) : '';
  log.dataset.lines = p.build_log ? (p.failed_lines || []).join(',') : '';
}

loadDiagnostics();
listen();
