// The site's own behavior: search, commands of a session in bold, tables that scroll.
"use strict";

const root = document.body.dataset.root;

// Search

/** The words of a query, in lower case. */
function wordsOf(query) {
  return query.toLowerCase().split(/[^\p{L}\p{N}_]+/u).filter((word) => word);
}

/** The index as a promise; it is large, so it is loaded with the first query. */
let loading = null;
function loadIndex() {
  loading ??= new Promise((resolve, reject) => {
    const script = document.createElement("script");
    script.src = root + "search-index.js";
    script.onload = () =>
      resolve({index: lunr.Index.load(searchData.index), entries: searchData.entries});
    script.onerror = () => reject(new Error("search-index.js cannot be loaded"));
    document.head.append(script);
  });
  return loading;
}

/** The entries that match every word: as it is, as the beginning of one, or with a typing error. */
function find({index, entries}, query) {
  const words = wordsOf(query);
  if (words.length === 0) return [];
  const found = index.query((clauses) => {
    for (const word of words) {
      clauses.term(word, {boost: 20, usePipeline: true});
      clauses.term(word, {boost: 10, usePipeline: false,
                          wildcard: lunr.Query.wildcard.TRAILING});
      if (word.length > 4) clauses.term(word, {boost: 1, editDistance: 1, usePipeline: false});
    }
  });
  const scored = found.map(({ref, score}) => ({...entries[ref], score}));
  const complete = scored.filter((entry) => {
    const text = (entry.title + " " + entry.page + " " + entry.text).toLowerCase();
    return words.every((word) => text.includes(word));
  });
  return (complete.length ? complete : scored).slice(0, 30);
}

/** `text` with the words in <mark>. */
function marked(text, words) {
  const node = document.createElement("span");
  const pattern = words.map((word) => word.replace(/[\\^$.*+?()[\]{}|]/g, "\\$&")).join("|");
  const pieces = pattern ? text.split(new RegExp(`(${pattern})`, "i")) : [text];
  pieces.forEach((piece, index) => {
    if (index % 2 === 0) {
      node.append(piece);
    } else {
      const mark = document.createElement("mark");
      mark.textContent = piece;
      node.append(mark);
    }
  });
  return node;
}

/** The part of an entry's text around the first word found. */
function excerpt(text, words) {
  const places = words.map((word) => text.toLowerCase().indexOf(word)).filter((at) => at >= 0);
  const start = places.length ? Math.max(0, Math.min(...places) - 40) : 0;
  return (start > 0 ? "…" : "") + text.slice(start, start + 150);
}

const field = document.getElementById("search-field");
const list = document.getElementById("search-results");
let selected = -1;

function select(index) {
  const links = [...list.querySelectorAll("a")];
  links[selected]?.setAttribute("aria-selected", "false");
  selected = links.length ? (index + links.length) % links.length : -1;
  const link = links[selected];
  if (!link) return field.removeAttribute("aria-activedescendant");
  link.setAttribute("aria-selected", "true");
  link.scrollIntoView({block: "nearest"});
  field.setAttribute("aria-activedescendant", link.id);
}

function show(visible) {
  list.hidden = !visible;
  field.setAttribute("aria-expanded", String(visible));
}

function resultOf(entry, index, words) {
  const link = document.createElement("a");
  const [page, anchor] = entry.url.split("#");
  link.id = "search-result-" + index;
  link.href = `${root}${page}?q=${encodeURIComponent(words.join(" "))}${anchor ? "#" + anchor : ""}`;
  link.setAttribute("role", "option");
  link.setAttribute("aria-selected", "false");
  const title = document.createElement("strong");
  title.append(marked(entry.title, words));
  const page_ = document.createElement("small");
  page_.textContent = entry.page === entry.title ? "" : entry.page;
  const text = document.createElement("p");
  text.append(marked(excerpt(entry.text, words), words));
  link.append(title, page_, text);
  return link;
}

async function search() {
  const query = field.value;
  const words = wordsOf(query);
  if (words.length === 0) return show(false);
  const entries = find(await loadIndex(), query);
  if (query !== field.value) return;  // another letter was typed meanwhile
  list.replaceChildren(...entries.map((entry, index) => resultOf(entry, index, words)));
  if (entries.length === 0) list.textContent = `Nothing found for “${query}”`;
  selected = -1;
  if (entries.length) select(0);
  show(true);
}

function onKey(event) {
  const step = {ArrowDown: 1, ArrowUp: -1}[event.key];
  if (step && !list.hidden) {
    select(selected + step);
    event.preventDefault();
  } else if (event.key === "Escape") {
    show(false);
    field.blur();
  }
}

function openSelected(event) {
  event.preventDefault();
  list.querySelectorAll("a")[selected]?.click();
}

field.addEventListener("focus", () => loadIndex().catch(() => {}));
field.addEventListener("input", search);
field.addEventListener("keydown", onKey);
field.form.addEventListener("submit", openSelected);
document.addEventListener("click", (event) => {
  if (!list.contains(event.target) && event.target !== field) show(false);
});
document.addEventListener("keydown", (event) => {
  if (event.key !== "/" || /^(INPUT|TEXTAREA)$/.test(event.target.tagName)) return;
  field.focus();
  event.preventDefault();
});

/** Marks the words of the query that led to this page. */
function markFound() {
  const words = wordsOf(new URLSearchParams(location.search).get("q") ?? "");
  const contents = document.querySelector("#doc-content .contents");
  if (words.length === 0 || !contents) return;
  const walker = document.createTreeWalker(contents, NodeFilter.SHOW_TEXT);
  const nodes = [];
  while (walker.nextNode()) nodes.push(walker.currentNode);
  for (const node of nodes) {
    const text = node.data.toLowerCase();
    if (words.some((word) => text.includes(word))) node.replaceWith(marked(node.data, words));
  }
}

// Pages

/** Commands in the sessions stand out from what they print, and messages are read without scrolling. */
function markCommands() {
  for (const fragment of document.querySelectorAll(".fragment")) {
    const text = [...fragment.querySelectorAll(".line")].map((line) => line.textContent + "\n").join("") ||
                 fragment.textContent;
    if (!text.startsWith("$ ")) continue;
    const lines = text.replace(/\n$/, "").split("\n").map((line) => {
      const node = document.createElement("span");
      node.className = line.startsWith("$ ") ? "typed" : /^(error |warning |commutil: )/.test(line) ? "message" : "printed";
      node.textContent = line + "\n";
      return node;
    });
    const session = document.createElement("pre");
    session.className = "fragment session";
    session.append(...lines);
    fragment.replaceWith(session);
  }
}

/** A wide table scrolls by itself, not the page. */
function wrapTables() {
  for (const table of document.querySelectorAll(".contents table.markdownTable, .contents table.doxtable")) {
    const box = document.createElement("div");
    box.className = "table-box";
    table.replaceWith(box);
    box.append(table);
  }
}

/** Drawings become as wide as the page allows, which those in a frame cannot. */
function fitDrawings() {
  for (const frame of document.querySelectorAll(".dotgraph iframe")) {
    const image = document.createElement("img");
    image.src = frame.getAttribute("src");
    image.alt = "Drawing";
    frame.replaceWith(image);
  }
}

/** The contents of a class with many groups of members. */
function listGroups() {
  const groups = [...document.querySelectorAll(".memberdecls .groupHeader")];
  if (groups.length < 4) return;
  const contents = document.createElement("div");
  contents.className = "toc";
  contents.innerHTML = "<h3>Table of Contents</h3><ul></ul>";
  groups.forEach((group, index) => {
    group.id ||= "group-" + index;
    const item = document.createElement("li");
    item.className = "level1";
    const link = document.createElement("a");
    link.href = "#" + group.id;
    link.textContent = group.textContent;
    item.append(link);
    contents.lastChild.append(item);
  });
  document.querySelector("#doc-content .contents").prepend(contents);
}

function start() {
  wrapTables();
  markCommands();
  markFound();
  fitDrawings();
  listGroups();
  DoxygenAwesomeDarkModeToggle.init();
  DoxygenAwesomeFragmentCopyButton.init();
  DoxygenAwesomeParagraphLink.init();
  DoxygenAwesomeInteractiveToc.init();
}
start();
