// The search page: filters the entries of search-index.js while one types. Sections and table rows that have all words come
// first, keys and messages ahead of mere mentions, the history of changes last; if none has them all (a message with its
// numbers, say), those with most.
const query = document.getElementById("query");
const most = 60;

function score(entry, words, whole) {
  const key = entry.key.toLowerCase(), heading = entry.heading.toLowerCase();
  const all = [key, heading, entry.page.toLowerCase(), entry.text.toLowerCase()].join(" ");
  const hits = words.filter(word => all.includes(word)).length;
  if (!hits || entry.url.startsWith("CHANGELOG")) return 10 * hits;
  const names = key.split(/[\s,]+/);
  const place = key === whole ? 6 : names.includes(whole) ? 5 : key.includes(whole) ? 4 : heading === whole ? 4
    : heading.includes(whole) ? 3 : words.some(word => key.includes(word)) ? 2 : 1;
  return 10 * hits + place;
}

function marked(text, words) {
  const span = document.createElement("span");
  const pattern = new RegExp("(" + words.map(word => word.replace(/[.*+?^${}()|[\]\\]/g, "\\$&")).join("|") + ")", "ig");
  text.split(pattern).forEach((part, k) => {
    const piece = document.createElement(k % 2 ? "mark" : "span");
    piece.textContent = part;
    span.append(piece);
  });
  return span;
}

function excerpt(text, words) {
  const places = words.map(word => text.toLowerCase().indexOf(word)).filter(place => place >= 0);
  const from = places.length ? Math.max(0, Math.min(...places) - 60) : 0;
  return (from ? "… " : "") + text.slice(from, from + 240);
}

function show() {
  const whole = query.value.trim().toLowerCase(), words = whole.split(/\s+/).filter(word => word);
  const scored = entries.map(entry => ({entry, score: words.length ? score(entry, words, whole) : 0}));
  const best = Math.max(...scored.map(one => Math.floor(one.score / 10)));  // words found
  const found = scored.filter(one => best && one.score >= 10 * best).sort((a, b) => b.score - a.score);
  document.getElementById("count").textContent = !words.length ? "" : found.length > most
    ? `${found.length} places, the first ${most}:` : `${found.length} place${found.length === 1 ? "" : "s"}`;
  document.getElementById("found").replaceChildren(...found.slice(0, most).map(({entry}) => {
    const item = document.createElement("p"), link = document.createElement("a"), where = document.createElement("small");
    link.href = entry.url;
    link.append(marked(entry.key || entry.heading, words));
    where.textContent = " " + entry.page + (entry.key ? " › " + entry.heading : "");
    item.append(link, where, document.createElement("br"), marked(excerpt(entry.text, words), words));
    return item;
  }));
}

query.value = new URLSearchParams(location.search).get("q") || "";
query.addEventListener("input", show);
show();
