import type { Sample, Volume } from "../../../protocol/sample.js";
import type { Texts } from "../../../words/texts.js";
import { useScreen } from "../../first/context.js";
import { Row } from "../../first/parts/Row.js";
import { IconRow } from "./IconRow.js";
import { backup } from "./icons.js";
import { SectionHead } from "./SectionHead.js";

const longAgoMs = 48 * 3_600_000;

export function Storage() {
  const { view, texts } = useScreen();
  const sample = view.current.sample.value;
  if (sample === undefined) return null;
  const volumes = sample.volumes.filter(({ sizeBytes }) => sizeBytes !== undefined && sizeBytes > 0);
  // To the minute: nobody waits for the second in which a backup turns five minutes old.
  const nowMs = Math.floor(view.now.peek() / 60_000) * 60_000;
  const backupWords = backupText(sample, nowMs, texts);
  if (volumes.length === 0 && backupWords === undefined) return null;
  const severity = view.current.verdict.value.rows.backup?.severity;
  return (
    <section class="section storage">
      <div class="pad">
        <SectionHead title={texts.w.storage} />
      </div>
      {volumes.length > 0 && (
        <ul>
          {volumes.map((volume, index) => (
            <VolumeRow key={index} volume={volume} texts={texts} isFirst={index === 0} />
          ))}
        </ul>
      )}
      {backupWords !== undefined && (
        <ul class="pad">
          <IconRow icon={backup} name={backupWords.name} detail={backupWords.detail} severity={severity} />
        </ul>
      )}
    </section>
  );
}

function VolumeRow({ volume, texts, isFirst }: { volume: Volume; texts: Texts; isFirst: boolean }) {
  const { w, fill, bytes, list, percent } = texts;
  const { name, sizeBytes = 0, freeBytes, protocol, isTimeMachine } = volume;
  const used = freeBytes === undefined ? undefined : Math.min(100, Math.max(0, 100 - (freeBytes / sizeBytes) * 100));
  return (
    <Row
      label={name}
      detail={list([
        freeBytes === undefined ? bytes(sizeBytes) : fill(w.freeOf, bytes(freeBytes), bytes(sizeBytes)),
        attachment(protocol, texts),
        isTimeMachine ? w.backups : undefined,
      ])}
      parts={used === undefined ? [] : texts.percentParts(used)}
      spoken={used === undefined ? "" : percent(used)}
      filled={used ?? 0}
      tick={isFirst ? 90 : undefined}
    />
  );
}

function attachment(protocol: string | undefined, { w }: Texts): string | undefined {
  if (protocol === "Apple Fabric" || protocol === "PCI-Express") return w.internal;
  return protocol === "Network" ? w.network : protocol;
}

function backupText(sample: Sample, nowMs: number, texts: Texts): { name: string; detail?: string } | undefined {
  const { w, fill } = texts;
  const { lastBackupMs, backupRunning, backupDiskConnected, backupDiskName } = sample;
  if (lastBackupMs === undefined && backupRunning !== true) return undefined;
  let name = w.backupRunning;
  if (backupRunning !== true && lastBackupMs !== undefined) {
    const age = nowMs - lastBackupMs;
    name =
      age < longAgoMs
        ? fill(w.lastBackup, texts.duration(coarse(age)))
        : fill(w.lastBackupDate, texts.dateTime(lastBackupMs));
  }
  if (backupDiskConnected === undefined) return { name };
  const detail =
    backupDiskName === undefined
      ? backupDiskConnected
        ? w.backupDiskConnected
        : w.backupDiskNotConnected
      : fill(backupDiskConnected ? w.isConnected : w.isNotConnected, backupDiskName);
  return { name, detail };
}

// A backup of four hours ago is not one of three hours and fifty-nine minutes.
function coarse(ageMs: number): number {
  const minutes = Math.max(1, Math.round(ageMs / 60_000));
  return minutes < 60 ? minutes * 60 : Math.round(minutes / 60) * 3600;
}
