// Catalogue files in and out of the chosen language. A file picked for import is first sent as
// a dry run, and only the changes shown are written (as drafts) when the import is confirmed;
// exports come as downloads, fetched with the token like every other call.
import { api, el, may, projectPath, say } from "./api.js";

const $ = (id) => document.getElementById(id);
const FORMATS = [
  ["po", "gettext .po", "po"], ["pot", "gettext template", "pot"], ["json", "JSON (flat)", "json"],
  ["json-nested", "JSON (nested)", "json"], ["strings", ".strings", "strings"], ["stringsdict", ".stringsdict", "stringsdict"],
  ["xliff", "XLIFF 1.2", "xlf"], ["xliff2", "XLIFF 2.0", "xliff"], ["ts", "Qt Linguist .ts", "ts"],
];
const BY_EXTENSION = { po: "po", pot: "pot", json: "json", strings: "strings", stringsdict: "stringsdict",
  xlf: "xliff", xliff: "xliff", ts: "ts" };
const SHOWN_CHANGES = 500;

function base64(buffer) {
  const bytes = new Uint8Array(buffer);
  let text = "";
  for (let i = 0; i < bytes.length; i += 0x8000) text += String.fromCharCode(...bytes.subarray(i, i + 0x8000));
  return btoa(text);
}

export class CataloguesView {
  constructor(state) {
    this.state = state;
    this.pending = null;
    $("catalogue-format").replaceChildren(el("option", { value: "" }, "Format by file name"),
      ...FORMATS.map(([value, label]) => el("option", { value }, label)));
    $("catalogue-file").addEventListener("change", () => this.preview().catch(state.fail));
    $("catalogue-apply").addEventListener("click", () => this.apply().catch(state.fail));
  }

  path(what) {
    return `${projectPath(this.state.project.id)}/languages/${encodeURIComponent(this.state.language)}/${what}`;
  }

  async load() {
    $("catalogue-exports").replaceChildren(...FORMATS.map(([format, label, extension]) =>
      el("button", { type: "button", onclick: () => this.download(format, extension).catch(this.state.fail) }, label)));
    this.forget();
    say("catalogues-status", may("translator")
      ? `Import into ${this.state.language}: pick a file to see what it would change.` : "");
  }

  forget() {
    this.pending = null;
    $("catalogue-file").value = "";
    $("catalogue-apply").hidden = true;
    $("catalogue-changes").replaceChildren();
  }

  async preview() {
    const file = $("catalogue-file").files[0];
    if (!file) return;
    const format = $("catalogue-format").value || BY_EXTENSION[file.name.split(".").pop().toLowerCase()];
    if (!format) return say("catalogues-status", `Cannot tell the format of ${file.name}: choose one.`, true);
    const request = { format, content: base64(await file.arrayBuffer()) };
    let plan;
    try {
      plan = await api.post(this.path("import"), { ...request, dryRun: true });
    } catch (error) {
      this.forget();
      return say("catalogues-status", error.message, true);
    }
    this.pending = request;
    this.show(plan);
    const count = plan.added.length + plan.changed.length;
    $("catalogue-apply").hidden = count === 0;
    say("catalogues-status", `${file.name}: ${plan.added.length} new, ${plan.changed.length} changed, ` +
      `${plan.unchanged} unchanged${count ? ". Nothing is written until you import." : "."}`);
  }

  show(plan) {
    const rows = [...plan.added.map((c) => ["new", c]), ...plan.changed.map((c) => ["changed", c])];
    $("catalogue-changes").replaceChildren(...rows.slice(0, SHOWN_CHANGES).map(([kind, c]) =>
      el("tr", { class: kind }, el("td", {}, kind),
        el("td", { class: "key" }, c.key, c.plural ? el("span", { class: "badge" }, c.plural) : null),
        el("td", {}, c.was ?? ""), el("td", {}, c.text))));
  }

  async apply() {
    if (!this.pending) return;
    const result = await api.post(this.path("import"), { ...this.pending, dryRun: false });
    this.forget();
    say("catalogues-status", `Imported as drafts: ${result.added.length} new, ${result.changed.length} changed. ` +
      "Publish them from the Strings tab.");
  }

  async download(format, extension) {
    const blob = await api.blob(this.path(`export?format=${format}`));
    const link = el("a", { href: URL.createObjectURL(blob), download: `${this.state.project.id}-${this.state.language}.${extension}` });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  }
}
