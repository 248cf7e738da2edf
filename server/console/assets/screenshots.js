// Screenshots apps uploaded, with a box over every string they showed, and the issues filed
// from them.
import { api, el, projectPath, when } from "./api.js";

// The image is fetched with the token (an <img> cannot send it) and shown from a blob: URL.
async function imageOf(path) {
  return URL.createObjectURL(await api.blob(path));
}

function box(position, openKey) {
  const label = position.key ?? `(no key) ${position.text ?? ""}`;
  const node = el("div", {
    class: position.key ? "box" : "box keyless", title: label, dataset: { key: position.key ?? "" },
    onclick: () => position.key && openKey(position.key),
  }, el("span", { class: "tip" }, label));
  return node;
}

// Boxes are placed in percent of the image's own pixels, which is what the positions count
// in, so they stay on their strings however large the image is drawn.
function placeBoxes(figure, image, positions, openKey) {
  const w = image.naturalWidth, h = image.naturalHeight;
  if (!w || !h) return;
  for (const p of positions) {
    if (![p.x, p.y, p.width, p.height].every(Number.isFinite)) continue;
    const node = box(p, openKey);
    Object.assign(node.style, {
      left: `${(p.x / w) * 100}%`, top: `${(p.y / h) * 100}%`,
      width: `${(p.width / w) * 100}%`, height: `${(p.height / h) * 100}%`,
    });
    figure.append(node);
  }
  figure.dataset.boxes = String(figure.querySelectorAll(".box").length);
}

export function screenshotCard(shot, openKey) {
  const image = el("img", { alt: `Screenshot ${shot.id} (${shot.tag})` });
  const figure = el("div", { class: "shot", dataset: { id: shot.id } }, image);
  image.addEventListener("load", () => placeBoxes(figure, image, shot.positions, openKey), { once: true });
  imageOf(shot.image).then((url) => { image.src = url; }).catch(() => { image.alt = "the image could not be loaded"; });
  const device = [shot.device.deviceModel, shot.device.operatingSystem, shot.device.deviceLanguageLong]
    .filter(Boolean).join(", ");
  return el("div", { class: "card" },
    el("h3", {}, shot.tag),
    el("p", { class: "muted" }, `${when(shot.receivedAt)} · ${device} · ${shot.positions.length} strings`),
    figure);
}

export class ScreenshotsView {
  constructor(state) {
    this.state = state;
  }

  async load() {
    const shots = await api.get(`${projectPath(this.state.project.id)}/screenshots`);
    shots.sort((a, b) => b.receivedAt - a.receivedAt);
    const list = document.getElementById("screenshot-list");
    list.replaceChildren(...shots.map((shot) => screenshotCard(shot, this.state.openKey)));
    if (!shots.length) list.append(el("p", { class: "muted" }, "No app has uploaded a screenshot yet."));
  }
}

export class IssuesView {
  constructor(state) {
    this.state = state;
  }

  async load() {
    const path = projectPath(this.state.project.id);
    const [issues, shots] = await Promise.all([api.get(`${path}/issues`), api.get(`${path}/screenshots`)]);
    issues.sort((a, b) => b.receivedAt - a.receivedAt);
    const list = document.getElementById("issue-list");
    list.replaceChildren(...issues.map((issue) => el("div", { class: "issue" },
      el("h3", {}, `${issue.tag} · ${issue.summary}`),
      el("p", { class: "muted" }, when(issue.receivedAt)),
      el("p", { class: "description" }, issue.description),
      el("div", { class: "cards" }, shots.filter((s) => s.tag === issue.tag).map((s) => screenshotCard(s, this.state.openKey))))));
    if (!issues.length) list.append(el("p", { class: "muted" }, "No issue has been filed from an app yet."));
  }
}
