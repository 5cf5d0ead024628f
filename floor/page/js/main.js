// Starts the page: its frame, the view that its address names, the scanner, and the stream of events.

import { startRoutes } from './base/routes.js';
import { follow } from './base/server.js';
import { loadSettings } from './base/settings.js';
import { startSounds } from './base/sounds.js';
import { onChange, store } from './base/store.js';
import { startAround } from './floor/around.js';
import { startSays } from './floor/says.js';
import { showTiles } from './floor/tiles.js';
import { startVerdicts } from './floor/verdicts.js';
import { showAttempt } from './records/attempt.js';
import { showCodes } from './records/codes.js';
import { showHealth } from './records/health.js';
import { showHistory } from './records/history.js';
import { showPools } from './records/pools.js';
import { showUnit } from './records/unit.js';
import { take, unreadable } from './scan/actions.js';
import { startScanner } from './scan/scanner.js';

// Each shows itself in a node, and may return what ends that.
const SHOW = { slots: showTiles, unit: showUnit, attempt: showAttempt, history: showHistory, pools: showPools, health: showHealth, codes: showCodes };

const by = (id) => document.getElementById(id);

function startViews(root) {
    let end = null;
    let waits = false; // for the floor's state, which what is offered beside a record depends on
    const show = () => {
        end?.();
        end = null;
        root.replaceChildren();
        waits = store.floor === null && store.view.name !== 'slots';
        if (waits) {
            return;
        }
        root.dataset.view = store.view.name;
        root.scrollTop = 0;
        end = SHOW[store.view.name](root) ?? null;
    };
    onChange((changes) => (changes.has('view') || (waits && changes.has('floor'))) && show());
}

loadSettings();
startAround({ name: by('floor-name'), views: by('views'), around: by('around'), band: by('drill-band') });
startSays(by('says'));
startVerdicts(by('verdicts'));
startSounds();
startViews(by('main'));
startScanner({ took: take, failed: unreadable, prefix: () => store.floor?.codes.prefix ?? '' });
startRoutes();
follow();
