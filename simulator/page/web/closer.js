// A panel looked at closely: each pixel large, with a grid, its coordinates, and the picture to take along.
'use strict';

const closer = (() => {
  const part = (name) => document.getElementById(`closer-${name}`);
  const largestZoom = 16;
  const leastForGrid = 4; // below, the lines would be the picture
  const colours = {dark: '#05080c', lit: '#dff1ff', line: '#3b4654', cursor: '#ffb454'};
  const names = {device: 'Device', layout: 'Layout'};

  let view = 'device';
  let zoom = 0; // 0: as large as fits
  let cursor = null; // the pixel that the arrow keys have gone to

  const panel = (of = view) => document.getElementById(`panel-${of}`);

  // What fits into the window beside the rest of the dialog.
  function fittingZoom() {
    const {width, height} = panel();
    const fits = Math.min((innerWidth - 60) / width, (innerHeight - 330) / height);
    return Math.min(Math.max(Math.floor(fits), 2), largestZoom);
  }

  function isLit(of, x, y) {
    return panel(of).getContext('2d').getImageData(x, y, 1, 1).data[0] > 100;
  }

  function drawPixels(context, size) {
    const {width, height} = panel();
    const {data} = panel().getContext('2d').getImageData(0, 0, width, height);
    context.fillStyle = colours.dark;
    context.fillRect(0, 0, width * size, height * size);
    context.fillStyle = colours.lit;
    for (let y = 0; y < height; y++) {
      for (let x = 0; x < width; x++) {
        if (data[(y * width + x) * 4] > 100) context.fillRect(x * size, y * size, size, size);
      }
    }
  }

  // A line between any two pixels; every eighth is brighter, to count by.
  function drawGrid(context, size) {
    const {width, height} = panel();
    for (const eighth of [false, true]) {
      context.fillStyle = eighth ? colours.cursor : colours.line;
      context.globalAlpha = eighth ? 0.7 : 1;
      const drawn = (i) => i % 8 === 0 === eighth;
      for (let x = 0; x < width; x++) if (drawn(x)) context.fillRect(x * size, 0, 1, height * size);
      for (let y = 0; y < height; y++) if (drawn(y)) context.fillRect(0, y * size, width * size, 1);
    }
    context.globalAlpha = 1;
  }

  function draw() {
    const size = zoom || fittingZoom();
    const canvas = part('canvas');
    canvas.width = panel().width * size;
    canvas.height = panel().height * size;
    const context = canvas.getContext('2d');
    drawPixels(context, size);
    if (part('grid').checked && size >= leastForGrid) drawGrid(context, size);
    part('grid').disabled = size < leastForGrid;
    if (cursor) {
      context.strokeStyle = colours.cursor;
      context.lineWidth = 2;
      context.strokeRect(cursor.x * size, cursor.y * size, size, size);
    }
    part('zoom').textContent = `${size}×`;
    part('in').disabled = size >= largestZoom;
    part('out').disabled = size <= 1;
    part('texts').replaceChildren(...[...document.getElementById(`texts-${view}`).children].map((line) =>
      line.cloneNode(true)));
  }

  // The pictures come again and again; what is closed or shows the other panel does nothing.
  function show(of) {
    if (part('frame').parentElement.open && of === view) draw();
  }

  function link() {
    const scale = part('scale').value;
    part('save').href = `/api/picture.png?view=${view}&scale=${scale}`;
    part('save').download = `${view}.png`;
    part('save').title = `${panel().width * scale} × ${panel().height * scale} pixels`;
  }

  function look(of) {
    view = of;
    cursor = null;
    part('title').textContent = names[of];
    document.querySelector(`input[name=closer-view][value=${of}]`).checked = true;
    part('at').textContent = 'Point at a pixel, or go with the arrow keys.';
    link();
    draw();
  }

  function open(of) {
    zoom = 0;
    document.getElementById('closer').showModal();
    say(part('reply'), '', '');
    look(of);
    part('canvas').focus();
  }

  const described = (of, x, y) => `x ${x}, y ${y}: ${isLit(of, x, y) ? 'lit' : 'dark'}`;

  // The pixel under the pointer; nothing beside the canvas.
  function pixelAt(event, canvas, of) {
    const box = canvas.getBoundingClientRect();
    const x = Math.floor((event.clientX - box.left) / box.width * panel(of).width);
    const y = Math.floor((event.clientY - box.top) / box.height * panel(of).height);
    return x >= 0 && y >= 0 && x < panel(of).width && y < panel(of).height ? {x, y} : null;
  }

  function walk(event) {
    const steps = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};
    if (!(event.key in steps)) return;
    event.preventDefault();
    const [right, down] = steps[event.key].map((step) => step * (event.shiftKey ? 8 : 1));
    const within = (value, size) => Math.min(Math.max(value, 0), size - 1);
    const {width, height} = panel();
    cursor = cursor ? {x: within(cursor.x + right, width), y: within(cursor.y + down, height)} : {x: 0, y: 0};
    draw();
    part('said').textContent = part('at').textContent = described(view, cursor.x, cursor.y);
  }

  function change(by) {
    zoom = Math.min(Math.max((zoom || fittingZoom()) + by, 1), largestZoom);
    draw();
  }

  async function copy() {
    try {
      const response = await fetch(part('save').href);
      await navigator.clipboard.write([new ClipboardItem({'image/png': await response.blob()})]);
      say(part('reply'), `Copied, ${part('save').title}.`, 'good');
    } catch {
      say(part('reply'), 'The browser does not let a page copy pictures; save it instead.', 'bad');
    }
  }

  // On the page itself the size gives way to what is pointed at.
  function connectPanel(of) {
    const place = document.getElementById(`at-${of}`);
    const size = place.textContent;
    panel(of).addEventListener('pointermove', (event) => {
      const pixel = pixelAt(event, panel(of), of);
      place.textContent = pixel ? `x ${pixel.x}, y ${pixel.y}` : size;
    });
    panel(of).addEventListener('pointerleave', () => { place.textContent = size; });
    panel(of).addEventListener('click', () => open(of));
    document.getElementById(`closer-${of}`).addEventListener('click', () => open(of));
  }

  function connect() {
    for (const of of Object.keys(names)) connectPanel(of);
    for (const choice of document.querySelectorAll('input[name=closer-view]')) {
      choice.addEventListener('change', () => look(choice.value));
    }
    part('in').addEventListener('click', () => change(1));
    part('out').addEventListener('click', () => change(-1));
    part('grid').addEventListener('change', draw);
    part('scale').addEventListener('change', link);
    part('copy').addEventListener('click', copy);
    part('close').addEventListener('click', close);
    part('canvas').addEventListener('keydown', walk);
    part('canvas').addEventListener('pointermove', (event) => {
      const pixel = pixelAt(event, part('canvas'), view);
      if (pixel) part('at').textContent = described(view, pixel.x, pixel.y);
    });
    addEventListener('resize', () => { if (zoom === 0) show(view); });
  }

  function close() {
    document.getElementById('closer').close();
  }

  return {connect, show, close};
})();
