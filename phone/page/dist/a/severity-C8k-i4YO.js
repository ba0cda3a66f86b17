function r({kind:e}){return e==="temp_high"||e==="battery_low"?"red":"amber"}export{r as a};
