'use strict';
// The station's web console: plain JavaScript against /api/v1, live through
// server-sent events. No outside resources: stations are often offline.

const $ = (id) => document.getElementById(id);
const api = '/api/v1/';
let csrf = '';
let role = '';
let events = null;
let nextAt = null; // when the next task starts, in this browser's clock
let nextText = '';
let editing = null; // the name of the task being changed, null for a new one

function el(tag, text, cls) {
  const e = document.createElement(tag);
  if (text !== undefined && text !== null) e.textContent = text;
  if (cls) e.className = cls;
  return e;
}

async function call(method, path, body) {
  const options = { method, headers: {}, credentials: 'same-origin' };
  if (method !== 'GET') options.headers['X-CSRF-Token'] = csrf;
  if (body !== undefined) {
    options.headers['Content-Type'] = 'application/json';
    options.body = JSON.stringify(body);
  }
  const response = await fetch(api + path, options);
  let data = {};
  try { data = await response.json(); } catch (e) { data = { error: '回答无法读取' }; }
  if (response.status === 401 && path !== 'login') showLogin();
  if (!response.ok) throw new Error(data.error || ('错误 ' + response.status));
  return data;
}

function notice(text) {
  const n = $('notice');
  n.textContent = text;
  n.hidden = !text;
  if (text) setTimeout(() => { if (n.textContent === text) n.hidden = true; }, 5000);
}

function showLogin() {
  if (events) { events.close(); events = null; }
  $('app').hidden = true;
  $('logout').hidden = true;
  $('who').textContent = '';
  $('login').hidden = false;
  $('password').focus();
}

function startApp(session) {
  csrf = session.csrf;
  role = session.role;
  document.body.classList.toggle('viewer', role !== 'manager');
  $('who').textContent = role === 'manager' ? '管理员' : '只读';
  $('login').hidden = true;
  $('logout').hidden = false;
  $('app').hidden = false;
  connectEvents();
  refreshAll();
}

function connectEvents() {
  if (events) events.close();
  events = new EventSource(api + 'events');
  events.addEventListener('status', (e) => showStatus(JSON.parse(e.data)));
  events.addEventListener('log', (e) => appendLog(JSON.parse(e.data).text));
  events.addEventListener('start', () => loadToday());
  events.addEventListener('changed', (e) => {
    const what = JSON.parse(e.data).what;
    if (what === 'tasks') { loadTasks(); loadToday(); }
    if (what === 'captions') loadCaptions();
    if (what === 'broadcasts') loadBroadcasts();
    if (what === 'stopdates' || what === 'settings') { loadStops(); loadToday(); loadBroadcasts(); }
  });
  events.onerror = () => {
    // The browser tries again by itself; a lost session needs a login.
    call('GET', 'session').catch(() => {});
  };
}

function refreshAll() {
  call('GET', 'status').then(showStatus).catch((e) => notice(e.message));
  loadToday(); loadTasks(); loadAgenda(); loadCaptions(); loadStops(); loadBroadcasts(); loadLog();
}

function showStatus(s) {
  const running = s.running;
  $('nowPlaying').textContent = running
    ? (running.task || (running.idleContent ? '图片广告背景音乐' : '手动播放列表'))
    : '没有播放';
  $('nowItem').textContent = running && running.item
    ? `第 ${running.index}/${running.count} 项：${running.item}` + (running.end ? `，结束于 ${running.end}` : '')
    : '';
  if (s.next) {
    $('nextTask').textContent = `${s.next.task}  ${s.next.time}`;
    nextAt = Date.now() + s.next.in * 1000;
  } else {
    $('nextTask').textContent = s.nextText || '—';
    nextAt = null;
  }
  nextText = s.nextText;
  tickCountdown();
  $('workHours').textContent = s.workHours;
  $('clockText').textContent = s.clock.text;
  $('clockText').className = s.clock.warning ? 'error' : '';
  $('statusText').textContent = s.stopDay ? '今天停播' : (s.statusText || '');
  $('broadcastNow').textContent = s.broadcast ? `正在播音：${s.broadcast.text}` : '';
  const active = Boolean(s.emergency && s.emergency.active);
  $('emergencyState').textContent = active ? '（正在广播）' : '';
  $('emergencyState').className = active ? 'error' : '';
  $('emergencyStart').hidden = active;
  $('emergencyClear').hidden = !active;
  const faults = $('faults');
  faults.replaceChildren(...s.faults.map((f) => el('li', f)));
}

function tickCountdown() {
  if (nextAt === null) { $('countdown').textContent = ''; return; }
  const left = Math.max(0, Math.round((nextAt - Date.now()) / 1000));
  const h = Math.floor(left / 3600), m = Math.floor(left / 60) % 60, sec = left % 60;
  const two = (n) => String(n).padStart(2, '0');
  $('countdown').textContent = `还剩${two(h)}:${two(m)}:${two(sec)}`;
}
setInterval(tickCountdown, 1000);

async function loadToday() {
  const t = await call('GET', 'today');
  $('todayDate').textContent = t.date + (t.stopDay ? ' 停播日' : '');
  $('todayRows').replaceChildren(...t.rows.map((r) => {
    const tr = el('tr', null, r.state === '正在播放' ? 'playing' : '');
    tr.append(el('td', r.task), el('td', r.start), el('td', r.end), el('td', r.state));
    return tr;
  }));
  if (!t.rows.length) $('todayRows').append(rowNote(4, '今天没有定时任务'));
}

function rowNote(span, text) {
  const tr = el('tr');
  const td = el('td', text, 'sub');
  td.colSpan = span;
  tr.append(td);
  return tr;
}

async function loadAgenda() {
  const a = await call('GET', 'agenda');
  const byDate = new Map();
  for (const item of a.items) {
    if (!byDate.has(item.date)) byDate.set(item.date, []);
    byDate.get(item.date).push(item);
  }
  const days = [];
  for (const [date, items] of byDate) {
    const day = el('div', null, 'day');
    day.append(el('h3', date));
    for (const item of items) {
      const line = el('div', null, 'lane-item' + (item.reason ? ' muted' : '') + (item.past ? ' past' : ''));
      line.append(el('span', item.start + (item.end ? '–' + item.end : ''), 'time'),
        el('span', item.lane, 'lane'), el('span', item.name, 'name'));
      if (item.reason) line.append(el('span', item.reason, 'reason'));
      if (item.warning) line.append(el('span', item.warning, 'error'));
      day.append(line);
    }
    days.push(day);
  }
  if (!days.length) days.push(el('p', `今后${a.days}天没有定时开播。`, 'sub'));
  $('agendaDays').replaceChildren(...days);
}

async function loadTasks() {
  const t = await call('GET', 'tasks');
  $('taskRows').replaceChildren(...t.tasks.map((task) => {
    const tr = el('tr');
    tr.append(el('td', task.Name), el('td', task.Time), el('td', task.Duration), el('td', task.Device),
      el('td', task.Recurrence), el('td', task.Remind));
    const actions = el('td', null, 'actions manager');
    const play = el('button', '播放');
    play.type = 'button';
    play.onclick = () => call('POST', `tasks/${encodeURIComponent(task.Name)}/play`)
      .then(() => notice('开始播放：' + task.Name)).catch((e) => notice(e.message));
    const edit = el('button', '修改');
    edit.type = 'button';
    edit.onclick = () => openTask(task.Name);
    const del = el('button', '删除', 'danger');
    del.type = 'button';
    del.onclick = () => {
      if (!confirm(`确定要删除“${task.Name}”这个任务吗？`)) return;
      call('DELETE', `tasks/${encodeURIComponent(task.Name)}`).then(loadTasks).catch((e) => notice(e.message));
    };
    actions.append(play, edit, del);
    tr.append(actions);
    return tr;
  }));
}

function withSeconds(value) { return value.length === 5 ? value + ':00' : value; }
function pickerTime(text) {
  const parts = text.split(':');
  return parts.length === 3 ? `${parts[0].padStart(2, '0')}:${parts[1]}:${parts[2]}` : '';
}

async function openTask(name) {
  $('taskError').textContent = '';
  editing = name;
  const form = $('taskForm');
  if (name === null) {
    $('taskFormTitle').textContent = '新增定时播放任务';
    $('taskName').value = '';
    const now = new Date();
    $('taskStart').value = now.toTimeString().slice(0, 8);
    $('taskEnd').value = '';
    $('taskVolume').value = '50000';
    $('taskDays').value = '每天';
    $('taskMode').value = '循环';
    $('taskRemind').value = '开';
    $('taskFiles').value = '';
  } else {
    const t = await call('GET', `tasks/${encodeURIComponent(name)}`);
    $('taskFormTitle').textContent = '修改定时播放任务';
    $('taskName').value = t.Name;
    $('taskStart').value = pickerTime(t.Time);
    $('taskEnd').value = pickerTime(t.Duration);
    $('taskVolume').value = t.Type;
    $('taskDays').value = t.Device;
    $('taskMode').value = t.Recurrence;
    $('taskRemind').value = t.Remind;
    $('taskFiles').value = t.files.join('\n');
  }
  form.hidden = false;
  form.scrollIntoView({ behavior: 'smooth' });
  $('taskName').focus();
}

async function saveTask(event) {
  event.preventDefault();
  const time = (v) => withSeconds(v).replace(/^0(\d)/, '$1');
  const body = {
    Name: $('taskName').value,
    Time: time($('taskStart').value),
    Duration: time($('taskEnd').value),
    Type: $('taskVolume').value,
    Device: $('taskDays').value,
    Recurrence: $('taskMode').value,
    Remind: $('taskRemind').value,
    files: $('taskFiles').value.split('\n').map((s) => s.trim()).filter((s) => s),
  };
  try {
    if (editing === null) await call('POST', 'tasks', body);
    else await call('PUT', `tasks/${encodeURIComponent(editing)}`, body);
    $('taskForm').hidden = true;
    notice('已保存：' + body.Name);
    loadTasks(); loadToday();
  } catch (e) {
    $('taskError').textContent = e.message;
  }
}

async function loadCaptions() {
  const c = await call('GET', 'captions');
  $('captionSwitch').checked = c.on;
  $('captionManner').value = String(c.manner);
  $('captionRows').replaceChildren(...c.rows.map((row, i) => {
    const tr = el('tr');
    const on = el('input');
    on.type = 'checkbox';
    on.checked = row.on;
    on.disabled = role !== 'manager';
    on.onchange = () => call('PUT', `captions/${i + 1}`, { on: on.checked }).catch((e) => notice(e.message));
    const onCell = el('td');
    onCell.append(on);
    const del = el('button', '删除', 'danger');
    del.type = 'button';
    del.onclick = () => call('DELETE', `captions/${i + 1}`).then(loadCaptions).catch((e) => notice(e.message));
    const actions = el('td', null, 'manager');
    actions.append(del);
    tr.append(el('td', row.start.slice(0, 5)), el('td', row.end.slice(0, 5)), el('td', row.content), onCell, actions);
    return tr;
  }));
}

async function loadStops() {
  const s = await call('GET', 'stopdates');
  $('stopDates').replaceChildren(...s.dates.map((d) => {
    const li = el('li', d);
    const del = el('button', '删除', 'danger manager');
    del.type = 'button';
    del.onclick = () => call('DELETE', `stopdates/${encodeURIComponent(d)}`).then(loadStops).catch((e) => notice(e.message));
    li.append(del);
    return li;
  }));
  if (!s.dates.length) $('stopDates').append(el('li', '没有停播日期', 'sub'));
  const week = ['周一', '周二', '周三', '周四', '周五', '周六', '周日'];
  $('weekdayStops').replaceChildren(...week.map((day) => [day, s.weekdays[day]]).map(([day, on]) => {
    const label = el('label');
    const box = el('input');
    box.type = 'checkbox';
    box.checked = on;
    box.disabled = role !== 'manager';
    box.onchange = () => call('PUT', 'stopdates/weekdays', { [day]: box.checked }).catch((e) => notice(e.message));
    label.append(box, ' ' + day);
    return label;
  }));
  const h = await call('GET', 'hours');
  $('hoursOn').checked = h.workingHours;
  $('hoursStart').value = pickerTime(h.workStart);
  $('hoursEnd').value = pickerTime(h.workEnd);
  $('shutdownOn').checked = h.shutdown;
  $('shutdownTime').value = pickerTime(h.shutdownTime);
}

const weekDays = '一二三四五六日';
let editingBroadcast = null; // the name of the broadcast being changed, null for a new one

async function loadBroadcasts() {
  const b = await call('GET', 'broadcasts');
  $('broadcastSwitch').checked = b.on;
  $('broadcastRows').replaceChildren(...b.tasks.map((t) => {
    const tr = el('tr');
    const actions = el('td', null, 'actions manager');
    const edit = el('button', '修改');
    edit.type = 'button';
    edit.onclick = () => openBroadcast(t);
    const del = el('button', '删除', 'danger');
    del.type = 'button';
    del.onclick = () => {
      if (!confirm(`确定删除播音任务“${t.name}”吗？`)) return;
      call('DELETE', `broadcasts/${encodeURIComponent(t.name)}`).then(loadBroadcasts).catch((e) => notice(e.message));
    };
    actions.append(edit, del);
    const when = t.interval !== '0' && t.end ? `${t.start}–${t.end} 每${t.interval}分钟` : t.start;
    tr.append(el('td', t.name), el('td', when), el('td', t.week), el('td', t.on ? '开' : '关'), actions);
    return tr;
  }));
  if (!b.tasks.length) $('broadcastRows').append(rowNote(5, '没有语音播报任务'));
  if (!b.available) notice('本机语音引擎不可用，无法播音');
}

// "2026/9/1" ↔ the date picker's "2026-09-01".
function pickerDate(text) {
  const p = (text || '').split('/');
  return p.length === 3 ? `${p[0]}-${p[1].padStart(2, '0')}-${p[2].padStart(2, '0')}` : '';
}
function shortDate(value) {
  const p = value.split('-');
  return p.length === 3 ? `${Number(p[0])}/${Number(p[1])}/${Number(p[2])}` : value;
}

function openBroadcast(t) {
  $('broadcastError').textContent = '';
  editingBroadcast = t ? t.name : null;
  $('broadcastFormTitle').textContent = t ? '修改播音任务' : '新增播音任务';
  const now = new Date();
  const year = now.getFullYear();
  $('bcName').value = t ? t.name : '';
  $('bcText').value = t ? t.text : '';
  $('bcStart').value = t ? pickerTime(t.start) : now.toTimeString().slice(0, 5) + ':00';
  $('bcEnd').value = t ? pickerTime(t.end || t.start) : $('bcStart').value;
  $('bcInterval').value = t ? t.interval : '0';
  $('bcDateStart').value = t ? pickerDate(t.dateStart) : now.toISOString().slice(0, 10);
  $('bcDateEnd').value = t ? pickerDate(t.dateEnd) : `${year}-12-31`;
  $('bcFrequency').value = t ? t.frequency : '1';
  $('bcPriority').value = t ? t.priority : '0';
  $('bcOn').value = !t || t.on ? '1' : '0';
  for (const box of $('bcWeek').querySelectorAll('input')) box.checked = t ? t.week.includes(box.value) : true;
  $('broadcastForm').hidden = false;
  $('broadcastForm').scrollIntoView({ behavior: 'smooth' });
  $('bcName').focus();
}

async function saveBroadcast(event) {
  event.preventDefault();
  const time = (v) => withSeconds(v);
  const body = {
    name: $('bcName').value,
    text: $('bcText').value,
    start: time($('bcStart').value),
    end: time($('bcEnd').value),
    interval: $('bcInterval').value,
    frequency: $('bcFrequency').value,
    priority: $('bcPriority').value,
    on: $('bcOn').value === '1',
    week: [...$('bcWeek').querySelectorAll('input')].filter((b) => b.checked).map((b) => b.value).join(''),
  };
  if ($('bcDateStart').value) body.dateStart = shortDate($('bcDateStart').value);
  if ($('bcDateEnd').value) body.dateEnd = shortDate($('bcDateEnd').value);
  try {
    if (editingBroadcast === null) await call('POST', 'broadcasts', body);
    else await call('PUT', `broadcasts/${encodeURIComponent(editingBroadcast)}`, body);
    $('broadcastForm').hidden = true;
    notice('已保存：' + body.name);
    loadBroadcasts();
  } catch (e) {
    $('broadcastError').textContent = e.message;
  }
}

let logNext = 0;
async function loadLog() {
  const l = await call('GET', 'log');
  logNext = l.next;
  $('logLines').textContent = l.lines.join('\n');
}
function appendLog(text) {
  const pre = $('logLines');
  pre.textContent += (pre.textContent ? '\n' : '') + text;
}

function showPage(name) {
  for (const b of document.querySelectorAll('#tabs button')) b.classList.toggle('active', b.dataset.page === name);
  for (const p of document.querySelectorAll('.page')) p.hidden = p.id !== 'page-' + name;
  if (name === 'agenda') loadAgenda().catch((e) => notice(e.message));
  if (name === 'log') loadLog().catch((e) => notice(e.message));
}

document.addEventListener('DOMContentLoaded', () => {
  for (const b of document.querySelectorAll('#tabs button')) b.onclick = () => showPage(b.dataset.page);
  $('loginForm').onsubmit = async (event) => {
    event.preventDefault();
    $('loginError').textContent = '';
    $('loginButton').disabled = true;
    try {
      const session = await call('POST', 'login', { password: $('password').value });
      $('password').value = '';
      startApp(session);
    } catch (e) {
      $('loginError').textContent = e.message;
    } finally {
      $('loginButton').disabled = false;
    }
  };
  $('logout').onclick = () => call('POST', 'logout').finally(showLogin);
  $('stopButton').onclick = () => call('POST', 'stop').catch((e) => notice(e.message));
  $('newTask').onclick = () => openTask(null);
  $('cancelTask').onclick = () => { $('taskForm').hidden = true; };
  $('taskForm').onsubmit = saveTask;
  $('announceForm').onsubmit = async (event) => {
    event.preventDefault();
    const body = {
      text: $('announceText').value,
      tone: $('announceTone').checked,
      repeat: Number($('announceRepeat').value) || 1,
    };
    if ($('announceVoice').value.trim()) body.voice = $('announceVoice').value.trim();
    try {
      await call('POST', 'announce', body);
      $('announceResult').textContent = '已开始播音';
      $('announceResult').className = '';
    } catch (e) {
      $('announceResult').textContent = e.message;
      $('announceResult').className = 'error';
    }
  };
  $('emergencyForm').onsubmit = async (event) => {
    event.preventDefault();
    if (!confirm('确定开始紧急广播吗？所有节目将停止，直到解除。')) return;
    const text = $('emergencyText').value.trim();
    try {
      await call('POST', 'emergency', text ? { text } : {});
      $('emergencyResult').textContent = '紧急广播已开始';
      $('emergencyResult').className = '';
    } catch (e) {
      $('emergencyResult').textContent = e.message;
      $('emergencyResult').className = 'error';
    }
  };
  $('emergencyClear').onclick = async () => {
    try {
      await call('DELETE', 'emergency');
      $('emergencyResult').textContent = '紧急广播已解除';
      $('emergencyResult').className = '';
    } catch (e) {
      $('emergencyResult').textContent = e.message;
      $('emergencyResult').className = 'error';
    }
  };
  $('bcWeek').replaceChildren(...[...weekDays].map((day) => {
    const label = el('label');
    const box = el('input');
    box.type = 'checkbox';
    box.value = day;
    label.append(box, ' 周' + day);
    return label;
  }));
  $('newBroadcast').onclick = () => openBroadcast(null);
  $('cancelBroadcast').onclick = () => { $('broadcastForm').hidden = true; };
  $('broadcastForm').onsubmit = saveBroadcast;
  $('broadcastSwitch').onchange = () =>
    call('PUT', 'broadcasts/settings', { on: $('broadcastSwitch').checked }).catch((e) => notice(e.message));
  $('captionSwitch').onchange = () =>
    call('PUT', 'captions/settings', { on: $('captionSwitch').checked }).catch((e) => notice(e.message));
  $('captionManner').onchange = () =>
    call('PUT', 'captions/settings', { manner: Number($('captionManner').value) }).catch((e) => notice(e.message));
  $('captionForm').onsubmit = async (event) => {
    event.preventDefault();
    $('captionError').textContent = '';
    try {
      await call('POST', 'captions', { start: $('captionStart').value, end: $('captionEnd').value, content: $('captionText').value });
      $('captionText').value = '';
      loadCaptions();
    } catch (e) { $('captionError').textContent = e.message; }
  };
  $('stopForm').onsubmit = async (event) => {
    event.preventDefault();
    $('stopError').textContent = '';
    try {
      await call('POST', 'stopdates', { date: $('stopDate').value.replaceAll('-', '/') });
      loadStops();
    } catch (e) { $('stopError').textContent = e.message; }
  };
  $('hoursForm').onsubmit = async (event) => {
    event.preventDefault();
    $('hoursError').textContent = '';
    try {
      await call('PUT', 'hours', {
        workingHours: $('hoursOn').checked,
        workStart: withSeconds($('hoursStart').value),
        workEnd: withSeconds($('hoursEnd').value),
        shutdown: $('shutdownOn').checked,
        shutdownTime: withSeconds($('shutdownTime').value),
      });
      notice('已保存');
    } catch (e) { $('hoursError').textContent = e.message; }
  };
  call('GET', 'session').then(startApp).catch(showLogin);
});
