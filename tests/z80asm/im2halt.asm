; Waits in HALT for five interrupts in mode 2; the handler counts them. The test
; raises the interrupt every 1000 microseconds and checks the count, the stack and
; the total time.
COUNT       equ 0x0200

            org 0
            di                      ; 1
            ld sp,0x8000            ; 3
            ld a,0x01               ; 2
            ld i,a                  ; 3  vector at 0x0186 (the data bus reads 0x86)
            im 2                    ; 2
            xor a                   ; 1
            ld (COUNT),a            ; 4
            ei                      ; 1
wait:       halt                    ; 1, then 1 per halted step
            ld a,(COUNT)            ; 4
            cp 5                    ; 2
            jr nz,wait              ; 3 taken, 2 at the end
            di                      ; 1
            halt                    ; 1, interrupts off: the machine stops

handler:    push af                 ; 4
            ld a,(COUNT)            ; 4
            inc a                   ; 1
            ld (COUNT),a            ; 4
            pop af                  ; 3
            ei                      ; 1
            reti                    ; 4

            org 0x0186
            dw handler
