function t({kind:e}){return e==="temp_high"||e==="battery_low"?"red":"amber"}export{t as a};
