// The page: the flight's state in cards, its track on a north/east plan and its series in plots.
// Live, it polls /api/state for what is new; recorded, it draws the data inlined in the page.
(function () {
  'use strict';
  var PHASES = [];  // the flight controller's phases by number, as the link's table names them
  var CAMERA = [];  // the camera's work modes by number, as the link's table names them
  var STICKS = ['R-H', 'R-V', 'L-V', 'L-H'];
  var rows = [];   // [t, height, speed, pitch, battery, north, east]
  var next = 0, epoch = -1, state = null, fit = 'track', recorded = !!window.CW_DATA;
  var plots = {};

  function $(id) { return document.getElementById(id); }
  function fmt(v, digits, unit) {
    return v === null || v === undefined ? '–' : v.toFixed(digits) + (unit || '');
  }
  function text(id, s) { $(id).textContent = s; }
  function phaseName(p) { return p >= 0 && p < PHASES.length ? PHASES[p] : 'phase ' + p; }

  function makePlot(id, column, label, color) {
    plots[id] = { column: column, graph: new Dygraph($(id), [[0, null]], {
      labels: ['t (s)', label], colors: [color], strokeWidth: 1.6, drawGrid: true,
      gridLineColor: '#2a3542', axisLineColor: '#2a3542', connectSeparatedPoints: true,
      axes: { x: { axisLabelFormatter: function (x) { return Math.round(x * 10) / 10 + ' s'; } } },
      legend: 'follow', labelsSeparateLines: true
    }) };
  }

  function drawPlots(s) {
    // The series keep a point per tenth of a second; the state as of the last message ends them.
    var last = rows.length && rows[rows.length - 1][0] < s.t ?
      [[s.t, s.height, s.speed, s.gimbal[0], s.battery]] : [];
    Object.keys(plots).forEach(function (id) {
      var c = plots[id].column;
      var data = rows.concat(last).map(function (r) { return [r[0], r[c]]; });
      if (data.length > 0) { plots[id].graph.updateOptions({ file: data }); }
    });
  }

  function drawPlan(s) {
    var svg = d3.select('#plan');
    var box = $('plan').getBoundingClientRect();
    var w = Math.max(box.width, 100), h = Math.max(box.height, 100);
    svg.selectAll('*').remove();
    var hn = s.home_north === null ? 0 : s.home_north, he = s.home_east === null ? 0 : s.home_east;
    var pts = rows.filter(function (r) { return r[5] !== null && r[6] !== null; });
    var reach = 5;
    pts.forEach(function (r) { reach = Math.max(reach, Math.abs(r[5] - hn), Math.abs(r[6] - he)); });
    if (fit === 'limit') { reach = Math.max(reach, s.radius); }
    reach *= 1.15;
    var side = Math.min(w, h) / 2 - 14;
    var x = d3.scale.linear().domain([-reach, reach]).range([w / 2 - side, w / 2 + side]);
    var y = d3.scale.linear().domain([-reach, reach]).range([h / 2 + side, h / 2 - side]);
    var ticks = x.ticks(6), grid = svg.append('g').attr('class', 'grid');
    ticks.forEach(function (t) {
      grid.append('line').attr({ x1: x(t), x2: x(t), y1: y(-reach), y2: y(reach) });
      grid.append('line').attr({ x1: x(-reach), x2: x(reach), y1: y(t), y2: y(t) });
      grid.append('text').attr({ x: x(t) + 2, y: y(-reach) - 3 }).text(t);
    });
    svg.append('text').attr({ class: 'label', x: w / 2 - 4, y: y(reach) + 12 }).text('N');
    svg.append('text').attr({ class: 'label', x: x(reach) - 10, y: h / 2 - 4 }).text('E');
    var r = x(s.radius) - x(0);
    svg.append('circle').attr({ class: 'limit', cx: x(0), cy: y(0), r: r });
    svg.append('text').attr({ class: 'label', x: x(0) + 6, y: Math.max(y(0) - r - 4, 12) })
      .text('radius limit ' + s.radius.toFixed(0) + ' m' + (r > side * 1.5 ? ' (beyond this view)' : ''));
    var line = d3.svg.line().x(function (p) { return x(p[6] - he); }).y(function (p) { return y(p[5] - hn); });
    svg.append('path').attr({ class: 'track', d: line(pts) });
    svg.append('circle').attr({ class: 'home', cx: x(0), cy: y(0), r: 5 });
    svg.append('text').attr({ class: 'label', x: x(0) + 7, y: y(0) + 12 }).text('home');
    if (s.north !== null && s.east !== null) {
      var yaw = s.yaw === null ? 0 : s.yaw;
      svg.append('path').attr({ class: 'craft', d: 'M0,-9 L6,7 L0,3 L-6,7 Z',
        transform: 'translate(' + x(s.east - he) + ',' + y(s.north - hn) + ') rotate(' + yaw + ')' });
    }
  }

  function drawSticks(v) {
    var div = $('sticks');
    div.innerHTML = '';
    v.forEach(function (raw, i) {
      var row = document.createElement('div');
      row.className = 'stick';
      var left = 50, width = 0;
      if (raw !== null) {
        var f = Math.max(-1, Math.min(1, (raw - 1024) / 660));
        left = f < 0 ? 50 + f * 50 : 50;
        width = Math.max(Math.abs(f) * 50, 1);
      }
      row.innerHTML = '<span>' + STICKS[i] + '</span><div class="bar" title="' + raw + '"><i style="left:' +
        left + '%;width:' + width + '%"></i></div>';
      div.appendChild(row);
    });
  }

  function drawState(s) {
    var when = s.t === null ? '' : 't = ' + s.t.toFixed(1) + ' s';
    text('clock', when);
    var ph = $('phase');
    ph.textContent = s.phase < 0 ? 'no data' : phaseName(s.phase);
    ph.className = 'big phase-' + s.phase;
    text('phases', s.phases.map(function (p) { return phaseName(p[1]); }).join(' → '));
    text('height', fmt(s.height, 1, ' m'));
    text('speed', fmt(s.speed, 1, ' m/s'));
    text('yaw', fmt(s.yaw, 0, '°'));
    text('battery', fmt(s.battery, 0, ' %'));
    text('gimbal', s.gimbal.map(function (a) { return fmt(a, 1, '°'); }).join(' / '));
    text('camera', s.camera_mode < 0 ? '–' : (CAMERA[s.camera_mode] || 'mode ' + s.camera_mode));
    text('photos', s.photos + ' photo' + (s.photos === 1 ? '' : 's') + ' taken');
    var m = $('mission');
    m.textContent = s.mission ? s.mission + ': ' + s.mission_status : 'none';
    m.className = 'mid ' + (!s.mission ? '' : s.mission_status === 'finished' ? 'ok' :
      s.mission_status === 'failed' ? 'fail' : 'busy');
    var words = [['quick shot active', s.qs_active], ['quick shot result', s.qs_code],
      ['panorama state', s.pano_state], ['panorama result', s.pano_result], ['time-lapse state', s.lapse_state]];
    text('words', words.filter(function (w) { return w[1] !== null; })
      .map(function (w) { return w[0] + ' ' + w[1]; }).join(' · '));
    drawSticks(s.sticks);
    var apps = $('apps');
    apps.innerHTML = '';
    // A capture records the link, not who was attached nor what the referee said.
    (s.apps.length ? s.apps : [recorded ? 'not in a capture' : 'none attached']).forEach(function (a) {
      var li = document.createElement('li');
      li.textContent = a;
      apps.appendChild(li);
    });
    var body = d3.select('#rates tbody');
    body.selectAll('tr').remove();
    // Grouped by module, in the aircraft's order of its modules; the busiest first within one.
    var group = null;
    s.rates.slice().sort(function (a, b) { return a.order - b.order || b.count - a.count; }).forEach(function (r) {
      if (r.module !== group) {
        group = r.module;
        body.append('tr').attr('class', 'group').append('th').attr('colspan', 4).text(group || 'not in the table');
      }
      var tr = body.append('tr');
      tr.append('td').text(r.name);
      tr.append('td').text(r.kind);
      // Live: the last whole second; recorded: the mean over the flight.
      var span = s.t - s.t_first;
      tr.append('td').attr('class', 'n').text(recorded ? (span > 0 ? (r.count / span).toFixed(1) : '–') : r.rate);
      tr.append('td').attr('class', 'n').text(r.count);
    });
    text('report', s.report || (recorded ? 'not in a capture: the referee reports live and at the end of a run' :
      'no report yet'));
  }

  function apply(s) {
    if (s.epoch !== epoch && s.from !== 0) {  // thinned out since: start over
      epoch = s.epoch;
      next = 0;
      rows = [];
      return false;
    }
    epoch = s.epoch;
    rows = rows.slice(0, s.from).concat(s.series);
    next = s.next;
    state = s;
    PHASES = s.phase_names || PHASES;
    CAMERA = s.camera_modes || CAMERA;
    drawState(s);
    drawPlan(s);
    drawPlots(s);
    return true;
  }

  function poll() {
    fetch('/api/state?since=' + next).then(function (r) { return r.json(); }).then(function (s) {
      var done = apply(s);
      setTimeout(poll, done ? 500 : 0);
    }).catch(function () {
      text('source', 'disconnected');
      setTimeout(poll, 2000);
    });
  }

  function init() {
    makePlot('plot-height', 1, 'height (m)', '#4fb3ff');
    makePlot('plot-speed', 2, 'speed (m/s)', '#5ad17a');
    makePlot('plot-pitch', 3, 'pitch (°)', '#ffb347');
    makePlot('plot-battery', 4, 'battery (%)', '#c792ea');
    ['track', 'limit'].forEach(function (f) {
      $('fit-' + f).onclick = function () {
        fit = f;
        $('fit-track').className = f === 'track' ? 'on' : '';
        $('fit-limit').className = f === 'limit' ? 'on' : '';
        if (state) { drawPlan(state); }
      };
    });
    if (recorded) {
      text('source', 'recorded');
      text('rate-head', '/s (mean)');
      apply(window.CW_DATA);
    } else {
      text('source', 'live');
      poll();
    }
  }
  document.addEventListener('DOMContentLoaded', init);
})();
