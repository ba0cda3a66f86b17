import{a}from"./chunk-UMCMVLL6.js";import"./chunk-2IFN3FNL.js";import"./chunk-OO3QYCVV.js";import"./chunk-6ATBPRIA.js";export{a as Add};
