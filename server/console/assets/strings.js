// The strings of one project and language beside the base language: search, filters, edits
// saved as drafts, and publishing.
import { api, el, may, projectPath, say } from "./api.js";

const SHOWN_AT_MOST = 500;
const rowId = (group, appKey) => `${group}\u001f${appKey}`;

export class StringsView {
  constructor(state) {
    this.state = state;
    this.rows = [];
    document.getElementById("search").addEventListener("input", () => this.render());
    document.getElementById("filter").addEventListener("change", () => this.render());
    document.getElementById("publish").addEventListener("click", () => this.publish().catch(state.fail));
  }

  async load() {
    const { project, language } = this.state;
    const base = project.baseLanguage;
    const path = projectPath(project.id);
    // The revision first: a change made while the entries are read shows again at the next look.
    const { revision } = await api.get(path);
    const [baseEntries, entries, missing] = await Promise.all([
      api.get(`${path}/entries?language=${encodeURIComponent(base)}`),
      language === base ? null : api.get(`${path}/entries?language=${encodeURIComponent(language)}`),
      api.get(`${path}/missing`),
    ]);
    const byId = new Map();
    const row = (entry) => {
      const id = rowId(entry.group, entry.appKey);
      if (!byId.has(id)) byId.set(id, { group: entry.group, key: entry.key, plural: entry.plural, appKey: entry.appKey });
      return byId.get(id);
    };
    for (const entry of baseEntries) row(entry).base = entry;
    for (const entry of entries ?? baseEntries) row(entry).target = entry;
    const reported = new Set(missing.filter((m) => m.acceptedAt === null && m.language === language).map((m) => m.key));
    for (const key of reported) {
      // A key only an app knows gets a row, so that a translator can give it a text at once.
      if (![...byId.values()].some((r) => r.appKey === key)) {
        byId.set(rowId("main", key), { group: "main", key, plural: "", appKey: key });
      }
    }
    for (const r of byId.values()) r.reported = reported.has(r.appKey) || reported.has(r.key);
    this.revision = revision;
    this.rows = [...byId.values()].sort((a, b) => a.group.localeCompare(b.group) || a.appKey.localeCompare(b.appKey));
    document.getElementById("base-heading").textContent = `Base language (${base})`;
    this.render();
  }

  static statusOf(row) {
    const t = row.target;
    return {
      untranslated: !t || (t.value === null && t.draft === null),
      changed: !!t && t.draft !== null && t.draft !== t.value,
      missing: row.reported,
    };
  }

  matches(row, search, filter) {
    if (filter !== "all" && !StringsView.statusOf(row)[filter]) return false;
    if (!search) return true;
    const texts = [row.appKey, row.base?.value, row.base?.draft, row.target?.value, row.target?.draft];
    return texts.some((t) => t && t.toLowerCase().includes(search));
  }

  render() {
    const search = document.getElementById("search").value.trim().toLowerCase();
    const filter = document.getElementById("filter").value;
    const shown = this.rows.filter((r) => this.matches(r, search, filter));
    const body = document.querySelector("#strings-table tbody");
    body.replaceChildren(...shown.slice(0, SHOWN_AT_MOST).map((r) => this.rowElement(r)));
    const more = shown.length > SHOWN_AT_MOST ? ` (the first ${SHOWN_AT_MOST} shown: narrow the search)` : "";
    document.getElementById("strings-count").textContent = `${shown.length} of ${this.rows.length} strings${more}`;
  }

  rowElement(row) {
    const status = StringsView.statusOf(row);
    const classes = Object.keys(status).filter((name) => status[name]).join(" ");
    const base = row.base ? row.base.draft ?? row.base.value : null;
    const editor = el("textarea", {
      rows: 1, value: row.target?.draft ?? "", placeholder: "no draft", "aria-label": `Draft of ${row.appKey}`,
      readOnly: !may("translator"),
      dataset: { key: row.appKey, group: row.group },
      onchange: (event) => this.save(row, event.target).catch(this.state.fail),
      onkeydown: (event) => { if (event.key === "Enter" && !event.shiftKey) { event.preventDefault(); event.target.blur(); } },
    });
    return el("tr", { class: classes, dataset: { key: row.appKey } },
      el("td", { class: "key" }, el("span", { class: "group" }, `${row.group} · `), row.key,
        row.plural ? el("span", { class: "badge" }, row.plural) : null,
        status.missing ? el("span", { class: "badge" }, "reported missing") : null),
      el("td", { class: "base" }, base ?? ""),
      el("td", { class: "published" }, row.target?.value ?? "untranslated"),
      el("td", { class: "draft" }, editor));
  }

  async save(row, editor) {
    const text = editor.value;
    // An emptied draft is withdrawn; the published text stays.
    const draft = text === "" ? null : text;
    const edit = { language: this.state.language, group: row.group, key: row.key, draft };
    if (row.plural) edit.plural = row.plural;
    const tr = editor.closest("tr");
    tr.classList.add("saving");
    const path = projectPath(this.state.project.id);
    await api.put(`${path}/entries`, { entries: [edit] });
    tr.classList.remove("saving");
    // Our own edit is no news to this page (another's made at the same moment shows at the next
    // reload).
    this.revision = (await api.get(path)).revision;
    row.target = { ...(row.target ?? { value: null }), draft };
    const status = StringsView.statusOf(row);
    for (const name of Object.keys(status)) tr.classList.toggle(name, status[name]);
    say("strings-status", draft === null ? `Withdrew the draft of ${row.appKey}.` : `Saved the draft of ${row.appKey}.`);
  }

  async publish() {
    const { project, language } = this.state;
    const answer = await api.post(`${projectPath(project.id)}/publish`, { language });
    const groups = answer.changed.map((g) => g.group);
    say("strings-status", groups.length
      ? `Published ${groups.join(", ")} in ${language}: apps get it at their next update (project version ${answer.version}).`
      : `Nothing waited to be published in ${language}.`);
    await this.load();
  }

  // Reloads the table when someone else changed the project, unless a text is being typed
  // (the next look catches up). True when it did.
  async catchUp() {
    const { revision } = await api.get(projectPath(this.state.project.id));
    if (this.revision === undefined || revision === this.revision || this.editing()) return false;
    await this.load();
    say("strings-status", "The project changed meanwhile (another translator, a script): the table shows it now.");
    return true;
  }

  editing() {
    return document.activeElement?.closest?.("#strings-table") != null;
  }

  // Shows one key ready to edit (from a screenshot's box).
  focus(appKey) {
    document.getElementById("search").value = appKey;
    document.getElementById("filter").value = "all";
    this.render();
    const editor = [...document.querySelectorAll("#strings-table textarea")].find((t) => t.dataset.key === appKey);
    editor?.focus();
    if (!editor) say("strings-status", `${appKey} is no string of this project yet.`, true);
  }
}
